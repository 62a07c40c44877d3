#include "routine/FilterMatch.h"

#include <gtest/gtest.h>
#include <hoq/HOQFileType.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace HOQ::test {
namespace {

TEST(MatchString, TakesItsFirstArgumentForThePattern) {
  struct Row {
    const char* pattern;
    const char* text;
    bool matches;
  };
  const Row rows[] = {
      {"abc", "abc", true}, {"abc", "abd", false},   {"a*", "abc", true},   {"abc", "a*", false},
      {"*", "", true},      {"", "", true},          {"", "x", false},      {"?", "/", true},
      {"*", "a/b", true},   {"*", ".hidden", true},  {"[ab]c", "bc", true}, {"[!a]c", "ac", false},
      {"a\\*", "a*", true}, {"a\\*", "a\\b", false},
  };
  for (const Row& row : rows)
    EXPECT_EQ(MatchString(row.pattern, row.text), row.matches) << row.pattern << " " << row.text;
}

/// An entry of user 10, group 20, 100 bytes, a regular file, changed at 1000 and modified at 5000.
struct stat entry() {
  struct stat info {};
  info.st_uid = 10;
  info.st_gid = 20;
  info.st_size = 100;
  info.st_mode = S_IFREG | 0644;
  info.st_ctim.tv_sec = 1000;
  info.st_mtim.tv_sec = 5000;
  return info;
}

struct FilterCase {
  const char* what;
  void (*set)(HOQFileFilter&);
  bool caught;
};

const FilterCase kIdAndName[] = {
    {"a fresh filter", [](HOQFileFilter&) {}, false},
    {"own user",
     [](HOQFileFilter& f) {
       f.valid = 4;
       f.uid = 10;
     },
     false},
    {"other user",
     [](HOQFileFilter& f) {
       f.valid = 4;
       f.uid = 11;
     },
     true},
    {"other user, not switched on", [](HOQFileFilter& f) { f.uid = 11; }, false},
    {"smallest user at it",
     [](HOQFileFilter& f) {
       f.valid = 8;
       f.uidMin = 10;
     },
     false},
    {"smallest user above it",
     [](HOQFileFilter& f) {
       f.valid = 8;
       f.uidMin = 11;
     },
     true},
    {"smallest user above it, not switched on", [](HOQFileFilter& f) { f.uidMin = 11; }, false},
    {"largest user at it", [](HOQFileFilter& f) { f.uidMax = 10; }, false},
    // Kept: the largest ids are compared whether or not a bit asks for it.
    {"largest user below it, not switched on", [](HOQFileFilter& f) { f.uidMax = 9; }, true},
    {"largest user of 0", [](HOQFileFilter& f) { f.uidMax = 0; }, true},
    {"own group",
     [](HOQFileFilter& f) {
       f.valid = 32;
       f.gid = 20;
     },
     false},
    {"other group",
     [](HOQFileFilter& f) {
       f.valid = 32;
       f.gid = 21;
     },
     true},
    {"other group, not switched on", [](HOQFileFilter& f) { f.gid = 21; }, false},
    {"smallest group at it",
     [](HOQFileFilter& f) {
       f.valid = 64;
       f.gidMin = 20;
     },
     false},
    {"smallest group above it",
     [](HOQFileFilter& f) {
       f.valid = 64;
       f.gidMin = 21;
     },
     true},
    {"smallest group above it, not switched on", [](HOQFileFilter& f) { f.gidMin = 21; }, false},
    {"largest group at it", [](HOQFileFilter& f) { f.gidMax = 20; }, false},
    {"largest group below it, not switched on", [](HOQFileFilter& f) { f.gidMax = 19; }, true},
    {"its name",
     [](HOQFileFilter& f) {
       f.valid = 2048;
       f.namePattern = "abc";
     },
     true},
    {"its name, not switched on", [](HOQFileFilter& f) { f.namePattern = "abc"; }, false},
    // Kept: the entry's name is the pattern, the filter's the text.
    {"a pattern of its name",
     [](HOQFileFilter& f) {
       f.valid = 2048;
       f.namePattern = "a*";
     },
     false},
    {"the last bit alone", [](HOQFileFilter& f) { f.valid = 4096; }, false},
    {"other tests' bits", [](HOQFileFilter& f) { f.valid = 1 | 2 | 16 | 128 | 256 | 512 | 1024; },
     false},
};

TEST(MatchFilter, CatchesByIdsAndName) {
  const struct stat info = entry();
  for (const FilterCase& row : kIdAndName) {
    HOQFileFilter filter;
    row.set(filter);
    EXPECT_EQ(MatchFilter("abc")(&info, filter), row.caught) << row.what;
  }
}

TEST(MatchFilter, AnEntryNamedLikeAPatternIsCaughtByATextThatItMatches) {
  const struct stat info = entry();
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kNamePattern;
  filter.namePattern = "abc";
  EXPECT_TRUE(MatchFilter("a*")(&info, filter));
  EXPECT_TRUE(MatchFilter("???")(&info, filter));
  EXPECT_FALSE(MatchFilter("b*")(&info, filter));
}

TEST(MatchFilter, WithoutANameTheNameIsNotTested) {
  const struct stat info = entry();
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kNamePattern;
  EXPECT_FALSE(MatchFilter(nullptr)(&info, filter));
  filter.valid |= HOQFileFilter::kUid;
  filter.uid = 11;
  EXPECT_TRUE(MatchFilter(nullptr)(&info, filter));
}

TEST(MatchFilter, ALargestUserOfNothingCatchesAllButRoot) {
  struct stat info = entry();
  HOQFileFilter filter;
  filter.uidMax = 0;
  EXPECT_TRUE(MatchFilter("x")(&info, filter));
  info.st_uid = 0;
  EXPECT_FALSE(MatchFilter("x")(&info, filter));
}

const FilterCase kTypeTimesAndSize[] = {
    {"a fresh filter", [](HOQFileFilter&) {}, false},
    {"times begin at the change",
     [](HOQFileFilter& f) {
       f.valid = 128;
       f.timeMin = 1000;
     },
     false},
    {"times begin after the change",
     [](HOQFileFilter& f) {
       f.valid = 128;
       f.timeMin = 1001;
     },
     true},
    {"times begin after it, not switched on", [](HOQFileFilter& f) { f.timeMin = 1001; }, false},
    {"times end at the change",
     [](HOQFileFilter& f) {
       f.valid = 256;
       f.timeMax = 1000;
     },
     false},
    // Between change and modification: the modification time is not looked at.
    {"times end before the change",
     [](HOQFileFilter& f) {
       f.valid = 256;
       f.timeMax = 999;
     },
     true},
    {"times end between",
     [](HOQFileFilter& f) {
       f.valid = 256;
       f.timeMax = 3000;
     },
     false},
    {"times end before it, not switched on", [](HOQFileFilter& f) { f.timeMax = 999; }, false},
    // Kept: 1024 switches the smallest size on, 512 the largest.
    {"smallest size at it",
     [](HOQFileFilter& f) {
       f.valid = 1024;
       f.sizeMin = 100;
     },
     false},
    {"smallest size above it",
     [](HOQFileFilter& f) {
       f.valid = 1024;
       f.sizeMin = 101;
     },
     true},
    {"smallest size above it by the other bit",
     [](HOQFileFilter& f) {
       f.valid = 512;
       f.sizeMin = 101;
       f.sizeMax = 100;
     },
     false},
    {"largest size at it",
     [](HOQFileFilter& f) {
       f.valid = 512;
       f.sizeMax = 100;
     },
     false},
    {"largest size below it",
     [](HOQFileFilter& f) {
       f.valid = 512;
       f.sizeMax = 99;
     },
     true},
    {"largest size below it by the other bit",
     [](HOQFileFilter& f) {
       f.valid = 1024;
       f.sizeMax = 99;
     },
     false},
    {"its type",
     [](HOQFileFilter& f) {
       f.valid = 1;
       f.type = 8;
     },
     false},
    {"another type",
     [](HOQFileFilter& f) {
       f.valid = 1;
       f.type = 4;
     },
     true},
    {"another type, not switched on", [](HOQFileFilter& f) { f.type = 4; }, false},
    {"other tests' bits",
     [](HOQFileFilter& f) { f.valid = 2 | 4 | 8 | 16 | 32 | 64 | 2048 | 4096; }, false},
};

TEST(NotMatchFilter, CatchesByTypeTimeOfChangeAndSize) {
  const struct stat info = entry();
  for (const FilterCase& row : kTypeTimesAndSize) {
    HOQFileFilter filter;
    row.set(filter);
    EXPECT_EQ(NotMatchFilter()(&info, filter), row.caught) << row.what;
  }
}

TEST(NotMatchFilter, AFilterForDirectoriesCatchesEverythingElse) {
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kType;
  filter.type = HOQFileType::kDirectory;
  struct stat info = entry();
  for (const mode_t type : {S_IFREG, S_IFLNK, S_IFIFO, S_IFSOCK, S_IFCHR, S_IFBLK}) {
    info.st_mode = type;
    EXPECT_TRUE(NotMatchFilter()(&info, filter)) << type;
  }
  info.st_mode = S_IFDIR;
  EXPECT_FALSE(NotMatchFilter()(&info, filter));
}

TEST(NotMatchFilter, SizesOfMoreThan32BitsCount) {
  struct stat info = entry();
  info.st_size = 5LL << 32;
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kSizeMin;
  filter.sizeMin = (5LL << 32) + 1;
  EXPECT_TRUE(NotMatchFilter()(&info, filter));
  filter.sizeMin = 1;
  EXPECT_FALSE(NotMatchFilter()(&info, filter));
}

struct OwnerCase {
  const char* user;  // null: not given
  const char* group;
  unsigned valid;
  bool caught;
};

TEST(MatchUG, CatchesByTheNamesThatAreGivenAndSwitchedOn) {
  HOQFileFilter filter;
  filter.userPattern = "alice";
  filter.groupPattern = "staff";
  const OwnerCase rows[] = {
      {"alice", "staff", 0, false},   {"alice", nullptr, 2, true},
      {"alice", nullptr, 16, false},  {"bob", nullptr, 2, false},
      {nullptr, "staff", 16, true},   {nullptr, "staff", 2, false},
      {nullptr, "wheel", 16, false},  {nullptr, nullptr, 2 | 16, false},
      {"bob", "staff", 2 | 16, true}, {"bob", "wheel", 2 | 16, false},
      {"a*", nullptr, 2, true},  // kept: the name is the pattern
  };
  for (const OwnerCase& row : rows) {
    filter.valid = row.valid;
    EXPECT_EQ(MatchUG(row.user, row.group)(filter), row.caught)
        << (row.user ? row.user : "-") << " " << (row.group ? row.group : "-") << " " << row.valid;
  }
}

TEST(FilterConvert, CollectsWhichOwnerPatternsAListHas) {
  struct Row {
    unsigned valid;
    const char* user;
    const char* group;
    int flags;
  };
  const Row rows[] = {{0, "u", "g", 0}, {2, "u", "g", 1},      {16, "u", "g", 2},   {2, "", "g", 0},
                      {16, "u", "", 0}, {2 | 16, "u", "g", 3}, {2 | 16, "", "g", 2}};
  for (const Row& row : rows) {
    HOQFileFilter filter;
    filter.valid = row.valid;
    filter.userPattern = row.user;
    filter.groupPattern = row.group;
    char flags = 0;
    FilterConvert()(&flags, filter);
    EXPECT_EQ(flags, row.flags) << row.valid << " " << row.user << row.group;
    flags = 0x40;  // what is set stays set
    FilterConvert()(&flags, filter);
    EXPECT_EQ(flags, 0x40 | row.flags);
  }
}

TEST(CompareUid, FindsARowById) {
  const std::vector<UserId> rows = {{"a", 1}, {"b", 2}};
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [](const UserId& row) { return CompareUid()(2, row); });
  ASSERT_NE(found, rows.end());
  EXPECT_EQ(found->name, "b");
  EXPECT_FALSE(CompareGid()(3, rows[0]));
}

TEST(UserId, ATableIsOrderedByNameAndKeepsTheFirstOfADuplicate) {
  std::set<UserId> table;
  table.insert(UserId("b", 1));
  table.insert(UserId("a", 2));
  table.insert(UserId("b", 3));
  ASSERT_EQ(table.size(), 2U);
  EXPECT_EQ(table.begin()->name, "a");
  EXPECT_EQ(table.find(UserId("b"))->id, 1U);
  EXPECT_EQ(table.count(UserId("c")), 0U);
}

TEST(HOQFileFilterRecord, AFreshOneSetsNoBoundAboveTheIds) {
  const HOQFileFilter filter;
  EXPECT_EQ(filter.valid, 0U);
  EXPECT_EQ(filter.uidMax, 0xFFFFFFFFU);
  EXPECT_EQ(filter.gidMax, 0xFFFFFFFFU);
  EXPECT_EQ(filter.type + filter.uid + filter.uidMin + filter.gid + filter.gidMin, 0U);
  EXPECT_EQ(filter.timeMin + filter.timeMax + filter.sizeMin + filter.sizeMax, 0);
  EXPECT_EQ(filter.userPattern + filter.groupPattern + filter.namePattern, "");
}

}  // namespace
}  // namespace HOQ::test
