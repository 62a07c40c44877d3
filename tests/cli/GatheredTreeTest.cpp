// Trees whose records come one by one, against the order that they are to be shown in.
#include "listing/GatheredTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <random>

#include "OutputFile.h"
#include "PathText.h"
#include "listing/JsonLines.h"
#include "listing/Printer.h"

namespace HOQ::cli {
namespace {

using Record = boost::shared_ptr<HOQFileType>;
using Records = Selection::Records;

/// Directories with "." and "..", hidden names, and names that begin alike or sort around "/".
Records randomTree(std::mt19937& random, int depth) {
  const char* const names[] = {"a",  "a!", "a.b", ".hid", "ab",       "b\xff",     "\xc3\xa4",
                               "a ", "zz", "z",   ".",    "prefix-x", "prefix-xy", ".."};
  Records records;
  for (const char* name : names) {
    if (random() % 3 == 0) continue;
    auto record = boost::make_shared<HOQFileType>();
    record->name = name;
    record->size = random() % 2000;
    record->mtime = static_cast<std::int64_t>(random() % 100000);
    record->nlink = random() % 30;
    record->type = HOQFileType::kRegular;
    if (isDots(name) || random() % 3 == 0) record->type = HOQFileType::kDirectory;
    if (record->type == HOQFileType::kDirectory && !isDots(name) && depth > 0)
      record->children = randomTree(random, depth - 1);
    records.push_back(record);
  }
  std::shuffle(records.begin(), records.end(), random);
  return records;
}

/// As a walk hands records over that are taken one by one.
void giveEach(GatheredTree& tree, const Records& records, std::size_t level) {
  for (const Record& record : records) {
    giveEach(tree, record->children, level + 1);
    HOQFileType alone = *record;
    alone.children.clear();
    tree.take(alone, level);
  }
}

struct Case {
  bool json;
  bool longFormat;
  bool all;
  std::vector<std::string> filters;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const bool json : {false, true})
    for (const bool longFormat : {false, true})
      for (const bool hidden : {false, true})
        for (const std::vector<std::string>& filters :
             {std::vector<std::string>{}, {"size>1000"}, {"type!=d"}, {"name=a*", "size<1500"}})
          all.push_back({json, longFormat, hidden, filters});
  return all;
}

View viewOf(const Case& wanted) {
  View view;
  view.tree = true;
  view.json = wanted.json;
  view.longFormat = wanted.longFormat;
  return view;
}

std::string shown(const Case& wanted, std::size_t memoryBytes, bool oneByOne,
                  const Records& records) {
  const Conditions conditions(wanted.filters);
  const Selection selection(wanted.all, conditions);
  const bool blocks = wanted.longFormat && !wanted.json;
  Spool spool(memoryBytes);
  GatheredTree tree(selection, spool, {Style(), blocks, blocks});
  tree.take(*records.front(), 2);  // of a listing that comes to nothing
  tree.clear();
  if (oneByOne)
    giveEach(tree, records, 0);
  else
    for (const Record& record : records) tree.take(*record, 0);
  Directory directory;
  directory.shown = "top";
  directory.spool = &spool;
  directory.top = tree.finish();
  OutputFile out;
  Printer(out.out, viewOf(wanted), selection).print({}, {directory});
  return out.text();
}

/// The entries of `records` that have a place, by name.
std::vector<Entry> placed(const Records& records, const Selection& selection, bool dots) {
  return selection.of(records, dots, true);
}

void jsonOf(const Records& records, const std::string& path, const Selection& selection,
            Output& out) {
  for (const Entry& entry : placed(records, selection, false)) {
    const std::string own = join(path, entry.record->name);
    if (entry.shown) writeJsonLine(out, own, *entry.record);
    jsonOf(entry.record->children, own, selection, out);
  }
}

void blocksOf(const Records& records, const std::string& path, const Selection& selection,
              bool& printed, Output& out) {
  const std::vector<Entry> entries = placed(records, selection, true);
  const auto isShown = [](const Entry& entry) { return entry.shown; };
  if (!selection.filters() || std::any_of(entries.begin(), entries.end(), isShown)) {
    if (printed) out.append("\n");
    printed = true;
    out.append(path + ":\n");
    LongLines lines{Style()};
    lines.startBlock();
    for (const Entry& entry : entries)
      if (entry.shown) lines.measure(*entry.record);
    for (const Entry& entry : entries)
      if (entry.shown) lines.write(out, *entry.record, entry.record->name);
  }
  for (const Entry& entry : entries)
    if (entry.record->type == HOQFileType::kDirectory && !isDots(entry.record->name))
      blocksOf(entry.record->children, join(path, entry.record->name), selection, printed, out);
}

bool leads(const Entry& entry, const Selection& selection) {
  if (entry.shown) return true;
  const std::vector<Entry> below = placed(entry.record->children, selection, false);
  return std::any_of(below.begin(), below.end(),
                     [&](const Entry& each) { return leads(each, selection); });
}

void drawingOf(const Records& records, const std::string& lead, const Selection& selection,
               Output& out) {
  std::vector<Entry> entries = placed(records, selection, false);
  std::erase_if(entries, [&](const Entry& entry) { return !leads(entry, selection); });
  for (const Entry& entry : entries) {
    const bool last = &entry == &entries.back();
    out.append(lead + (last ? "└── " : "├── ") + entry.record->name + "\n");
    drawingOf(entry.record->children, lead + (last ? "    " : "│   "), selection, out);
  }
}

/// What is to be shown, made in the plainest way.
std::string expected(const Case& wanted, const Records& records) {
  const Conditions conditions(wanted.filters);
  const Selection selection(wanted.all, conditions);
  OutputFile out;
  bool printed = false;
  if (wanted.json) {
    jsonOf(records, "top", selection, out.out);
  } else if (wanted.longFormat) {
    blocksOf(records, "top", selection, printed, out.out);
  } else {
    out.out.append("top\n");
    drawingOf(records, "", selection, out.out);
  }
  return out.text();
}

TEST(GatheredTree, IsShownInTheOrderOfTheTreeHoweverItCame) {
  std::mt19937 random(7);
  for (int round = 0; round < 6; ++round) {
    const Records records = randomTree(random, round % 4);
    for (const Case& wanted : cases()) {
      const std::string text = expected(wanted, records);
      for (const std::size_t bytes : {std::size_t{0}, std::size_t{500}, Spool::kMemoryBytes})
        for (const bool oneByOne : {false, true})
          ASSERT_EQ(shown(wanted, bytes, oneByOne, records), text)
              << "round " << round << wanted.json << wanted.longFormat << wanted.all
              << testing::PrintToString(wanted.filters) << bytes << oneByOne;
    }
  }
}

TEST(GatheredTree, ADirectoryThatNothingIsKnownBelowHasABlockOfItsOwn) {
  Case wanted{false, true, false, {}};
  auto folder = boost::make_shared<HOQFileType>();
  folder->name = "d";
  folder->type = HOQFileType::kDirectory;
  const std::string text = shown(wanted, 0, true, {folder});
  EXPECT_NE(text.find("\n\ntop/d:\n"), std::string::npos) << text;
}

TEST(GatheredTree, AnEmptyTreeIsAHeadingOnly) {
  const Conditions conditions({});
  const Selection selection(false, conditions);
  Spool spool;
  for (const Case& wanted : cases()) {
    if (wanted.json || !wanted.filters.empty()) continue;
    GatheredTree tree(selection, spool, GatheredTree::Needs());
    Directory directory;
    directory.shown = "top";
    directory.spool = &spool;
    directory.top = tree.finish();
    OutputFile out;
    Printer(out.out, viewOf(wanted), selection).print({}, {directory});
    EXPECT_EQ(out.text(), wanted.longFormat ? "top:\n" : "top\n");
  }
}

}  // namespace
}  // namespace HOQ::cli
