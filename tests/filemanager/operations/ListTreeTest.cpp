// Listing trees, and the sizes beneath directories.
#include <sys/stat.h>

#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "support/Isolation.h"
#include "support/LoggingRoutine.h"

namespace HOQ::test {
namespace {

class ListTree : public OperationsFixture {
 protected:
  /// Without the placeholders.
  static Records entries(const Outcome& outcome) {
    return Records(outcome.records.begin() + 2, outcome.records.end());
  }
  std::string sizes(const Outcome& outcome) { return sizesOf(entries(outcome)); }
};

constexpr char kTree[] = "d/f=1 d/e/g=22 d/e/h/i=333 d/e/h/l->i d/k=4444 d/void/";

TEST_F(ListTree, NestsEachDirectorysEntriesInItsRecord) {
  trees::make(dir.path(), kTree);
  const Outcome outcome = list({"d"}, kRecursive);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(sizes(outcome), "e=0(g=2 h=0(i=3 l=1)) f=1 k=4 void=0()");
}

TEST_F(ListTree, EmptyDirectoriesHoldOnlyTheirDots) {
  trees::make(dir.path(), "d/void/");
  const Outcome outcome = list({"d"}, kRecursive);
  EXPECT_EQ(namesOf(recordOf(outcome.records, "void").children), (Texts{".", ".."}));
}

TEST_F(ListTree, TheDotsOfInnerDirectoriesTellOfThoseAndTheirParents) {
  trees::make(dir.path(), "d/%0751 d/e/%0711 d/e/h/%0731 d/e/h/i/%0753");
  const Outcome outcome = list({"d"}, kRecursive);
  const HOQFileType& e = recordOf(outcome.records, "e");
  const HOQFileType& h = recordOf(e.children, "h");
  const HOQFileType& i = recordOf(h.children, "i");
  EXPECT_EQ(recordOf(e.children, ".").permissions, 0711U);
  EXPECT_EQ(recordOf(e.children, "..").permissions, 0751U);
  EXPECT_EQ(recordOf(h.children, ".").permissions, 0731U);
  EXPECT_EQ(recordOf(h.children, "..").permissions, 0711U);
  EXPECT_EQ(recordOf(i.children, ".").permissions, 0753U);
  EXPECT_EQ(recordOf(i.children, "..").permissions, 0731U);
  for (const HOQFileType* directory : {&e, &h, &i}) {
    for (const char* dots : {".", ".."}) {
      EXPECT_TRUE(recordOf(directory->children, dots).children.empty());
      EXPECT_EQ(recordOf(directory->children, dots).valid, kAllFields & ~0x200U);
    }
  }
}

TEST_F(ListTree, TheDotsOfInnerDirectoriesAreCopiesAndCostNoExamination) {
  trees::make(dir.path(), "d/e/h/f");
  CallLog log;
  maker = [&log](const std::string& directory) {
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  EXPECT_EQ(list({"d"}, kRecursive).code, 0);
  for (const char* item : {"d/e/h", "d/e/h/f"})
    EXPECT_EQ(log.count(Call::Stat, dir / item), 1) << item;
  EXPECT_EQ(log.count(Call::Stat, dir / "d/e"), 1);
  EXPECT_EQ(log.count(Call::Stat, dir / "d"), 3);  // itself, its "." and "..": of "e"
}

TEST_F(ListTree, ThePlaceholdersNeverHaveChildren) {
  trees::make(dir.path(), kTree);
  for (const int options : {kRecursive, kRecursive | kSums, kRecursive | kPatterns}) {
    const Outcome outcome = list({"d", "d/e"}, options);
    for (const std::size_t i : {0U, 1U}) {
      EXPECT_TRUE(outcome.records[i]->children.empty());
      EXPECT_EQ(outcome.records[i]->size, 0U);
    }
  }
}

TEST_F(ListTree, LinkedDirectoriesAreEnteredOnlyOnRequest) {
  trees::make(dir.path(), "d/l->../e e/f=12");
  EXPECT_EQ(sizes(list({"d"}, kRecursive)), "l=4");
  EXPECT_EQ(sizes(list({"d"}, kRecursive | kFollow)), "l=0(f=2)");
}

TEST_F(ListTree, DirectoriesHaveNoSizeWithoutTheSums) {
  trees::make(dir.path(), kTree);
  EXPECT_EQ(sizes(list({"d"})), "e=0 f=1 k=4 void=0");
  EXPECT_EQ(sizes(list({"d"}, kRecursive)), "e=0(g=2 h=0(i=3 l=1)) f=1 k=4 void=0()");
}

TEST_F(ListTree, SumsWithoutATreeStandAtTheListedDirectories) {
  trees::make(dir.path(), kTree);
  const Outcome outcome = list({"d"}, kSums);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(sizes(outcome), "e=6 f=1 k=4 void=0");
  for (const auto& record : outcome.records) EXPECT_TRUE(record->children.empty());
}

TEST_F(ListTree, SumsOfNeighboursStayApart) {
  trees::make(dir.path(), "d/a/x=1 d/b/x=22 d/b/c/y=333 d/e/ d/g/h/i/j=4444 d/z=55555");
  EXPECT_EQ(sizes(list({"d"}, kSums)), "a=1 b=5 e=0 g=4 z=5");
  EXPECT_EQ(sizes(list({"d"}, kSums | kRecursive)),
            "a=1(x=1) b=5(c=3(y=3) x=2) e=0() g=4(h=4(i=4(j=4))) z=5");
}

TEST_F(ListTree, SumsOfATreeClimbToEachDirectory) {
  trees::make(dir.path(), kTree);
  EXPECT_EQ(sizes(list({"d"}, kSums | kRecursive)), "e=6(g=2 h=4(i=3 l=1)) f=1 k=4 void=0()");
}

TEST_F(ListTree, SumsOfSeveralPathsStayApart) {
  trees::make(dir.path(), "a/s/x=1 b/t/y=22 c/u/");
  const Outcome outcome = list({"a", "b", "c"}, kSums);
  EXPECT_EQ(recordOf(outcome.records, "s").size, 1U);
  EXPECT_EQ(recordOf(outcome.records, "t").size, 2U);
  EXPECT_EQ(recordOf(outcome.records, "u").size, 0U);
}

TEST_F(ListTree, WhatFiltersCatchIsNotSummed) {
  trees::make(dir.path(), "d/e/small=1 d/e/large=4444");
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kSizeMin;
  filter.sizeMin = 3;
  const HOQFiler::Filters filters = {filter};
  EXPECT_EQ(sizes(list({"d"}, kSums, &filters)), "e=4");
  EXPECT_EQ(sizes(list({"d"}, kSums | kRecursive, &filters)), "e=4(large=4)");
}

struct PatternCase {
  const char* pattern;
  int options;  // beside the wildcard bit
  const char* sizes;
};

// t/a/f=1  t/a/s/g=22  t/b/f=333  t/b/s/g=4444  t/x=55555
// With the sums and without a tree, what is beneath a match is listed beside it.
const PatternCase kListPatterns[] = {
    {"t/*", 0, "a=0 b=0 x=5"},
    {"t/[ab]", 0, "a=0 b=0"},
    {"t/[ab]", kRecursive, "a=0(f=1 s=0(g=2)) b=0(f=3 s=0(g=4))"},
    {"t/[ab]", kSums, "a=3 b=7 f=1 f=3 g=2 g=4 s=2 s=4"},
    {"t/[ab]", kSums | kRecursive, "a=3(f=1 s=2(g=2)) b=7(f=3 s=4(g=4))"},
    {"t/a/*", kSums, "f=1 g=2 s=2"},
    {"t/*/s", kSums, "@/t/a/s=2 @/t/b/s=4 g=2 g=4"},
    {"t/*/s", kSums | kRecursive, "@/t/a/s=2(g=2) @/t/b/s=4(g=4)"},
    {"t/*/*", 0, "f=1 f=3 s=0 s=0"},
    {"t/*/*", kRecursive, "f=1 f=3 s=0(g=2) s=0(g=4)"},
    {"t/*/*", kSums, "f=1 f=3 g=2 g=4 s=2 s=4"},
    {"t/*/*", kSums | kRecursive, "f=1 f=3 s=2(g=2) s=4(g=4)"},
    {"t/*/*/*", kSums | kRecursive, "g=2 g=4"},
    {"*", kSums, "a=3 b=7 f=1 f=3 g=2 g=4 s=2 s=4 t=15 x=5"},
    {"*", kSums | kRecursive, "t=15(a=3(f=1 s=2(g=2)) b=7(f=3 s=4(g=4)) x=5)"},
    {"*/*", kSums, "a=3 b=7 f=1 f=3 g=2 g=4 s=2 s=4 x=5"},
    {"*/*", kSums | kRecursive, "a=3(f=1 s=2(g=2)) b=7(f=3 s=4(g=4)) x=5"},
    {"none*", 0, ""},
    {"none/*", 0, ""},
    {"t/x/*", 0, ""},
};

/// As sizesOf, but names may come twice, and the place is "@".
std::string matchesOf(const Records& records, const std::string& place) {
  Texts texts;
  for (const auto& record : records) {
    if (record->name == "." || record->name == "..") continue;
    std::string text = record->name + "=" + std::to_string(record->size);
    if (text.compare(0, place.size(), place) == 0) text.replace(0, place.size(), "@");
    if (!record->children.empty()) text += "(" + matchesOf(record->children, place) + ")";
    texts.push_back(text);
  }
  std::sort(texts.begin(), texts.end());
  std::string line;
  for (const std::string& text : texts) line += (line.empty() ? "" : " ") + text;
  return line;
}

TEST_F(ListTree, MatchesStandBesideEachOtherWithTheirOwnTreesAndSums) {
  trees::make(dir.path(), "t/a/f=1 t/a/s/g=22 t/b/f=333 t/b/s/g=4444 t/x=55555");
  for (const PatternCase& row : kListPatterns) {
    SCOPED_TRACE(std::string(row.pattern) + " " + std::to_string(row.options));
    for (const std::string& base : {std::string(), dir / ""}) {
      const Outcome outcome = list({base + row.pattern}, row.options | kPatterns);
      EXPECT_EQ(outcome.code, 0);
      EXPECT_EQ(outcome.messages, Texts{});
      EXPECT_EQ(matchesOf(outcome.records, dir.path()), row.sizes);
    }
  }
}

TEST_F(ListTree, AMatchBelowTheFirstLevelIsFilledWithItsSizeAlone) {
  trees::make(dir.path(), "t/f=22");
  const Outcome flat = list({"*/*"}, kPatterns);
  EXPECT_EQ(recordOf(flat.records, "f").valid, 0x40U);
  const Outcome tree = list({"*/*"}, kPatterns | kRecursive);
  EXPECT_EQ(recordOf(tree.records, "f").valid, kAllFields & ~0x200U);
  const Outcome first = list({"t/*"}, kPatterns);
  EXPECT_EQ(recordOf(first.records, "f").valid, kAllFields & ~0x200U);
}

TEST_F(ListTree, TheDotsOfMatchesAreExaminedWhereNoRecordIsThere) {
  trees::make(dir.path(), "t/%0751 t/a/%0711 t/a/s/%0731 t/a/s/g");
  const Outcome outcome = list({"t/*/*"}, kPatterns | kRecursive);
  const HOQFileType& s = recordOf(outcome.records, "s");
  EXPECT_EQ(recordOf(s.children, ".").permissions, 0731U);
  EXPECT_EQ(recordOf(s.children, "..").permissions, 0711U);
  const Outcome first = list({"t/*"}, kPatterns | kRecursive);
  EXPECT_EQ(recordOf(recordOf(first.records, "a").children, "..").permissions, 0751U);
}

TEST_F(ListTree, APlainPathUnderTheWildcardBitIsListedAsEver) {
  trees::make(dir.path(), "d/f");
  const Outcome outcome = list({"d"}, kPatterns);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(namesOf(outcome.records), (Texts{".", ".", "..", "..", "f"}));
  // Kept: what fails below a plain tail is reported and stops nothing.
  const Outcome missing = list({"missing"}, kPatterns);
  EXPECT_EQ(missing.code, 0);
  EXPECT_EQ(missing.messages, Texts{quoted("missing") + ", Cannot list/stat non directory item"});
}

/// Items whose path has "/other" in it are on another device.
class TwoDevices : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;
  int stat() override {
    const int result = HOQFileRoutineLin::stat();
    if (result == 0 && path.find("/other") != std::string::npos) statBuffer.st_dev += 1;
    return result;
  }
};

class ListOneFileSystem : public ListTree {
 protected:
  void SetUp() override {
    maker = [](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(new TwoDevices(directory));
    };
  }
};

TEST_F(ListOneFileSystem, AnotherDeviceIsListedAndNotEntered) {
  trees::make(dir.path(), "d/a/other/f=1 d/a/g=22");
  EXPECT_EQ(sizes(list({"d"}, kRecursive)), "a=0(g=2 other=0(f=1))");
  EXPECT_EQ(sizes(list({"d"}, kRecursive | kOneFileSystem)), "a=0(g=2 other=0)");
  EXPECT_EQ(sizes(list({"d"}, kSums)), "a=3");
  EXPECT_EQ(sizes(list({"d"}, kSums | kOneFileSystem)), "a=2");
  EXPECT_EQ(sizes(list({"d"}, kRecursive | kSums | kOneFileSystem)), "a=2(g=2 other=0)");
}

// Kept: the device that counts is each first-level entry's own.
TEST_F(ListOneFileSystem, AFirstLevelEntryOnAnotherDeviceIsEntered) {
  trees::make(dir.path(), "d/other/f=1 d/a/g=22");
  EXPECT_EQ(sizes(list({"d"}, kRecursive | kOneFileSystem)), "a=0(g=2) other=0(f=1)");
}

TEST_F(ListOneFileSystem, AMountedFileSystemIsNotEntered) {
  HOQ_NEEDS_ROOT("only it mounts a file system");
  const std::string problem = whyNoMounts();
  if (!problem.empty()) GTEST_SKIP() << problem;
  maker = nullptr;
  trees::make(dir.path(), "d/a/mount/ d/a/g=22");
  EXPECT_EQ(inChild([&] {
              ASSERT_EQ(mountOwnFileSystem(dir / "d/a/mount"), "");
              trees::make(dir / "d/a/mount", "f=1");
              EXPECT_EQ(sizes(list({"d"}, kRecursive)), "a=0(g=2 mount=0(f=1))");
              EXPECT_EQ(sizes(list({"d"}, kRecursive | kOneFileSystem)), "a=0(g=2 mount=0)");
            }),
            "");
}

TEST_F(ListTree, EachEntryIsExaminedOnceWithWhateverFields) {
  trees::make(dir.path(), "d/a=1 d/b=22 d/e/f=333 d/l->a");
  for (const int options : {0, kSums, kRecursive, kRecursive | kSums}) {
    CallLog log;
    maker = [&log](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
    };
    HOQFileFilter harmless;
    const HOQFiler::Filters filters = {harmless};
    for (const HOQFiler::Filters* given :
         {static_cast<const HOQFiler::Filters*>(nullptr), &filters}) {
      log.entries.clear();
      EXPECT_EQ(list({"d"}, options, given).code, 0);
      for (const char* item : {"d/a", "d/b", "d/l"})
        EXPECT_EQ(log.count(Call::Stat, dir / item), 1) << item << " " << options;
      EXPECT_EQ(log.count(Call::Stat, dir / "d/e/f"), options == 0 ? 0 : 1) << options;
      EXPECT_EQ(log.count(Call::Getown), 0);
    }
  }
}

}  // namespace
}  // namespace HOQ::test
