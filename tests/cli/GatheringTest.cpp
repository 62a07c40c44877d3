// Entries that come one by one are shown as those of a list that is there at once.
#include "listing/Gathering.h"

#include <gtest/gtest.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <limits>

#include "OutputFile.h"
#include "listing/Packing.h"
#include "listing/Printer.h"

namespace HOQ::cli {
namespace {

using Records = Selection::Records;

boost::shared_ptr<HOQFileType> entry(const std::string& name, std::uint32_t number) {
  const HOQFileType::Kind kinds[] = {HOQFileType::kRegular, HOQFileType::kDirectory,
                                     HOQFileType::kLink, HOQFileType::kFifo};
  auto record = boost::make_shared<HOQFileType>();
  record->name = name;
  record->type = kinds[number % 4];
  record->permissions = number * 37 & 07777;
  record->user = number % 3 == 0 ? "" : "user" + std::to_string(number % 5);
  record->uid = number % 2 == 0 ? 0xFFFFFFFF : number;
  record->group = "g\xc3\xa4" + std::string(number % 4, 'g');
  record->gid = number;
  record->size = number == 7 ? std::numeric_limits<std::uint64_t>::max() : number * 12345;
  record->mtime = number == 8   ? std::numeric_limits<std::int64_t>::min()
                  : number == 9 ? std::numeric_limits<std::int64_t>::max()
                                : std::int64_t{number} * 1'000'000 - 5'000'000;
  record->nlink = number * 10;
  record->linkTarget = number % 4 == 2 ? "to\n\xff" : "";
  record->contentType = number % 6 == 0 ? "text/plain" : "";
  record->sizes.assign(number % 3, -static_cast<long long>(number));
  record->valid = number * 97;
  return record;
}

Records sample() {
  Records records;
  const char* const names[] = {"z", ".", "..", ".hidden", "b\xff", "a b", "\xc3\xa4", "ab", "a"};
  std::uint32_t number = 0;
  for (const char* name : names) records.push_back(entry(name, ++number));
  for (int i = 0; i < 40; ++i)
    records.push_back(entry("prefix-that-is-long" + std::to_string(i * 17 % 40), ++number));
  return records;
}

std::string shown(const View& view, const Selection& selection,
                  const std::vector<Directory>& directories) {
  OutputFile out;
  Printer(out.out, view, selection).print({}, directories);
  return out.text();
}

TEST(Gathering, IsShownByteForByteAsRecordsThatAreHeld) {
  for (const bool json : {false, true})
    for (const bool longFormat : {false, true})
      for (const bool human : {false, true})
        for (const bool all : {false, true})
          for (const std::vector<std::string>& filters :
               {std::vector<std::string>{}, std::vector<std::string>{"type!=l", "name!=a*"}}) {
            View view;
            view.json = json;
            view.longFormat = longFormat;
            view.style.human = human;
            ASSERT_TRUE(gathers(view, false));
            const Conditions conditions(filters);
            const Selection selection(all, conditions);
            std::vector<Directory> held;
            std::vector<Directory> gathered;
            for (const char* name : {"one", "two"}) {
              held.push_back({name, sample(), nullptr});
              const auto gathering = std::make_shared<Gathering>(selection, view.style, longFormat);
              for (const auto& record : sample()) gathering->take(*record, 0);
              gathered.push_back({name, {}, gathering});
            }
            EXPECT_EQ(shown(view, selection, gathered), shown(view, selection, held))
                << json << longFormat << human << all << filters.size();
          }
}

TEST(Gathering, BeginsAnewWhenItIsCleared) {
  const Conditions conditions({});
  const Selection selection(true, conditions);
  View view;
  view.longFormat = true;
  const auto gathering = std::make_shared<Gathering>(selection, view.style, true);
  gathering->take(*entry("wide", 4'000'000), 0);
  gathering->clear();
  gathering->take(*entry("narrow", 1), 0);
  const auto fresh = std::make_shared<Gathering>(selection, view.style, true);
  fresh->take(*entry("narrow", 1), 0);
  EXPECT_EQ(shown(view, selection, {{"d", {}, gathering}}),
            shown(view, selection, {{"d", {}, fresh}}));
}

TEST(Gathering, APackedRecordIsTheSameAgain) {
  for (const auto& record : sample()) {
    std::string packed;
    packRecord(packed, *record);
    HOQFileType made = *sample().front();  // what it was before is gone
    unpackRecord(packed, made);
    EXPECT_EQ(made.type, record->type);
    EXPECT_EQ(made.permissions, record->permissions);
    EXPECT_EQ(made.user, record->user);
    EXPECT_EQ(made.uid, record->uid);
    EXPECT_EQ(made.group, record->group);
    EXPECT_EQ(made.gid, record->gid);
    EXPECT_EQ(made.size, record->size);
    EXPECT_EQ(made.mtime, record->mtime);
    EXPECT_EQ(made.nlink, record->nlink);
    EXPECT_EQ(made.linkTarget, record->linkTarget);
    EXPECT_EQ(made.contentType, record->contentType);
    EXPECT_EQ(made.sizes, record->sizes);
    EXPECT_EQ(made.valid, record->valid);
  }
}

TEST(Gathering, IsOfOneLevelAndNotOfNamesInColumns) {
  View view;
  EXPECT_FALSE(gathers(view, true));
  view.sizes = true;
  EXPECT_FALSE(gathers(view, false));
  view.longFormat = true;
  EXPECT_TRUE(gathers(view, true));
  view.tree = true;
  EXPECT_FALSE(gathers(view, false));
}

TEST(Packing, TakesNothingThatIsNotThereWhole) {
  std::string text;
  appendText(text, std::string(200, 't'));
  for (std::size_t length = 0; length < text.size(); ++length) {
    std::string_view in = std::string_view(text).substr(0, length);
    std::string_view taken = "as before";
    EXPECT_FALSE(takeText(in, taken)) << length;
    EXPECT_EQ(in.size(), length);
    EXPECT_EQ(taken, "as before");
  }
  std::string_view in = text;
  std::string_view taken;
  EXPECT_TRUE(takeText(in, taken));
  EXPECT_EQ(taken.size(), 200U);
  EXPECT_TRUE(in.empty());
}

}  // namespace
}  // namespace HOQ::cli
