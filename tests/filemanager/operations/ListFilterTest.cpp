#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "operations/ListStatOperate.h"
#include "routine/HOQFileRoutineLin.h"

namespace HOQ::test {
namespace {

class ListFilters : public OperationsFixture {
 protected:
  void SetUp() override {
    trees::make(dir.path(),
                "d/one=1 d/five=55555 d/sub/two=22 d/sub/six=666666 d/link->one d/pipe|");
  }
};

HOQFileFilter filterOf(void (*set)(HOQFileFilter&)) {
  HOQFileFilter filter;
  set(filter);
  return filter;
}

struct FilterCase {
  const char* what;
  HOQFiler::Filters filters;
  Texts listed;
};

TEST_F(ListFilters, KeepWhatNoFilterCatchesAndEveryDirectory) {
  const FilterCase rows[] = {
      {"an empty list", {}, {"five", "link", "one", "pipe", "sub"}},
      {"a fresh filter", {HOQFileFilter()}, {"five", "link", "one", "pipe", "sub"}},
      {"regular files",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 1;
         f.type = 8;
       })},
       {"five", "one", "sub"}},
      {"directories",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 1;
         f.type = 4;
       })},
       {"sub"}},
      {"links",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 1;
         f.type = 10;
       })},
       {"link", "sub"}},
      {"from 2 bytes",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 1024;
         f.sizeMin = 2;
       })},
       {"five", "link", "sub"}},
      {"to 2 bytes",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 512;
         f.sizeMax = 2;
       })},
       {"one", "pipe", "sub"}},
      {"by two filters",
       {filterOf([](HOQFileFilter& f) {
          f.valid = 1;
          f.type = 8;
        }),
        filterOf([](HOQFileFilter& f) {
          f.valid = 512;
          f.sizeMax = 2;
        })},
       {"one", "sub"}},
      {"not by a name",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 2048;
         f.namePattern = "one";
       })},
       {"five", "link", "pipe", "sub"}},
      {"a directory by its name",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 2048;
         f.namePattern = "sub";
       })},
       {"five", "link", "one", "pipe", "sub"}},
      {"of a user that is not ours",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 4;
         f.uid = geteuid() + 1;
       })},
       {"sub"}},
      {"of times to come",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 128;
         f.timeMin = 1LL << 40;
       })},
       {"sub"}},
      {"of times before files",
       {filterOf([](HOQFileFilter& f) {
         f.valid = 256;
         f.timeMax = 1;
       })},
       {"sub"}},
  };
  for (const FilterCase& row : rows) {
    SCOPED_TRACE(row.what);
    const Outcome outcome = list({"d"}, 0, &row.filters);
    EXPECT_EQ(outcome.code, 0);
    // No dots come from the walk, even where the list is empty: what is there are placeholders.
    Texts expected = row.listed;
    expected.push_back(".");
    expected.push_back("..");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(namesOf(outcome.records), expected);
  }
}

TEST_F(ListFilters, WorkInEveryDirectoryOfATree) {
  const HOQFiler::Filters large = {filterOf([](HOQFileFilter& f) {
    f.valid = 1024;
    f.sizeMin = 5;
  })};
  const Outcome outcome = list({"d"}, kRecursive, &large);
  EXPECT_EQ(namesOf(outcome.records), (Texts{".", "..", "five", "sub"}));
  EXPECT_EQ(namesOf(recordOf(outcome.records, "sub").children), Texts{"six"});
}

TEST_F(ListFilters, TakeTheTimeOfTheLastStatusChange) {
  const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (dir / "d/one").c_str(), times, 0), 0);
  const HOQFiler::Filters recent = {filterOf([](HOQFileFilter& f) {
    f.valid = 128;
    f.timeMin = 1'500'000'000;
  })};
  const Outcome outcome = list({"d"}, 0, &recent);
  EXPECT_EQ(recordOf(outcome.records, "one").mtime, 1'000'000'000);
}

TEST_F(ListFilters, ByOwnersNamesNeedNoNamesAskedFor) {
  const std::string user = recordOf(list({"d"}).records, "one").user;
  HOQFileFilter byUser;
  byUser.valid = HOQFileFilter::kUserPattern;
  byUser.userPattern = user;
  const HOQFiler::Filters filters = {byUser};
  const Outcome outcome = list({"d"}, 0, &filters, 0x40);
  EXPECT_EQ(namesOf(outcome.records), (Texts{".", "..", "sub"}));
}

TEST_F(ListFilters, ACaughtDirectoryIsListedAndEntered) {
  const HOQFiler::Filters strangers = {filterOf([](HOQFileFilter& f) {
    f.valid = 2048;
    f.namePattern = "sub";
  })};
  const Outcome outcome = list({"d"}, kRecursive, &strangers);
  EXPECT_EQ(namesOf(recordOf(outcome.records, "sub").children), (Texts{"six", "two"}));
}

TEST_F(ListFilters, AreSeenByMatchFilters) {
  HOQFileRoutineLin routine(dir / "d/one");
  ASSERT_EQ(routine.stat(), 0);
  Records records;
  const HOQFilerOptions options(0);
  ListStatOperate op(routine, options, false, records);
  EXPECT_TRUE(op.matchFilters());
  HOQFiler::Filters filters;
  routine.setFilters(&filters);
  EXPECT_TRUE(op.matchFilters());
  filters.push_back(filterOf([](HOQFileFilter& f) {
    f.valid = 1;
    f.type = 8;
  }));
  EXPECT_TRUE(op.matchFilters());
  filters.push_back(filterOf([](HOQFileFilter& f) {
    f.valid = 1;
    f.type = 4;
  }));
  EXPECT_FALSE(op.matchFilters());
}

}  // namespace
}  // namespace HOQ::test
