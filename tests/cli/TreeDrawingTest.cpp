// How trees are drawn, and printed as blocks.
#include "listing/TreeDrawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>

#include "OutputFile.h"
#include "listing/GatheredTree.h"
#include "listing/Printer.h"

namespace HOQ::cli {
namespace {

using Record = boost::shared_ptr<HOQFileType>;

Record entry(const char* name, HOQFileType::Kind kind, Selection::Records children = {}) {
  auto record = boost::make_shared<HOQFileType>();
  record->name = name;
  record->type = kind;
  record->children = std::move(children);
  return record;
}

Record file(const char* name) { return entry(name, HOQFileType::kRegular); }
Record folder(const char* name, Selection::Records children) {
  return entry(name, HOQFileType::kDirectory, std::move(children));
}

Selection::Records sample() {
  return {folder("b", {file("z"), file(".hid"), folder("y", {file("x")})}), file("a"),
          folder(".h", {file("in")}), folder("c", {})};
}

std::string printed(const Selection::Records& records, const View& view, bool all,
                    const std::vector<std::string>& filters) {
  const Conditions conditions(filters);
  const Selection selection(all, conditions);
  Spool spool;
  GatheredTree tree(selection, spool, {view.style, view.longFormat, view.longFormat});
  for (const Record& record : records) tree.take(*record, 0);
  Directory directory;
  directory.shown = "top";
  directory.spool = &spool;
  directory.top = tree.finish();
  OutputFile out;
  Printer(out.out, view, selection).print({}, {directory});
  return out.text();
}

std::string drawn(const Selection::Records& records, bool all,
                  const std::vector<std::string>& filters) {
  View view;
  view.tree = true;
  return printed(records, view, all, filters);
}

TEST(TreeDrawing, DrawsALineForEachEntryByName) {
  EXPECT_EQ(drawn(sample(), false, {}),
            "top\n"
            "├── a\n"
            "├── b\n"
            "│   ├── y\n"
            "│   │   └── x\n"
            "│   └── z\n"
            "└── c\n");
}

TEST(TreeDrawing, ShowsHiddenNamesAndWhatIsBelowThemWhenAsked) {
  EXPECT_EQ(drawn(sample(), true, {}),
            "top\n"
            "├── .h\n"
            "│   └── in\n"
            "├── a\n"
            "├── b\n"
            "│   ├── .hid\n"
            "│   ├── y\n"
            "│   │   └── x\n"
            "│   └── z\n"
            "└── c\n");
}

TEST(TreeDrawing, KeepsDirectoriesThatLeadToAMatch) {
  EXPECT_EQ(drawn(sample(), false, {"name=x"}),
            "top\n"
            "└── b\n"
            "    └── y\n"
            "        └── x\n");
  EXPECT_EQ(drawn(sample(), false, {"name=nothing"}), "top\n");
}

TEST(TreeDrawing, DeepTreesNeedNoDeepStack) {
  constexpr int kDepth = 2000;
  const Selection::Records records{folder("d", {})};
  HOQFileType* last = records.front().get();
  for (int i = 1; i < kDepth; ++i) {
    last->children.push_back(folder("d", {}));
    last = last->children.front().get();
  }
  const std::string text = drawn(records, false, {});
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kDepth + 1);
}

TEST(Printer, PutsBlocksInTheOrderOfTheTree) {
  View view;
  view.tree = view.longFormat = true;
  std::string headings;
  const std::string text = printed(sample(), view, false, {});
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    if (end > start && text[end - 1] == ':') headings += text.substr(start, end - start) + " ";
    start = end + 1;
  }
  EXPECT_EQ(headings, "top: top/b: top/b/y: top/c: ");
}

TEST(Printer, LinesUpLongCells) {
  OutputFile out;
  const Conditions conditions({});
  const Selection selection(false, conditions);
  View view;
  view.longFormat = true;
  Directory directory{"d", {file("a"), file("b")}};
  directory.records[0]->user = "a-user-with-a-long-name";
  directory.records[0]->size = 12345678901;
  directory.records[1]->nlink = 1000;
  Printer(out.out, view, selection).print({}, {directory});
  const std::string text = out.text();
  const std::size_t first = text.find('\n');
  EXPECT_EQ(text.size(), 2 * (first + 1)) << text;
}

}  // namespace
}  // namespace HOQ::cli
