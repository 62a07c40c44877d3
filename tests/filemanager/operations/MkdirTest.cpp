#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "operations/MkdirOperate.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/Isolation.h"
#include "support/LoggingRoutine.h"

namespace HOQ::test {
namespace {

class Mkdir : public OperationsFixture {
 protected:
  unsigned modeOf(const std::string& item) {
    struct stat info;
    EXPECT_EQ(::stat((dir / item).c_str(), &info), 0) << item;
    return info.st_mode & 07777;
  }
};

struct MkdirCase {
  const char* what;
  const char* tree;
  HOQFiler::Paths paths;
  int options;
  int code;
  Texts messages;  // "@" stands for the place
  int reported;    // the record's code
  const char* left;
};

const MkdirCase kMkdirs[] = {
    {"one", "f", {"d"}, 0, 0, {}, 0, "d/ f"},
    {"several", "", {"a", "a/b", "c"}, 0, 0, {}, 0, "a/b/ c/"},
    {"by a slash at its end", "", {"d/"}, 0, 0, {}, 0, "d/"},
    {"by a crooked path", "a/", {"a/../b/./"}, 0, 0, {}, 0, "a/ b/"},
    {"a star", "", {"*"}, 0, 0, {}, 0, "*/"},
    {"nothing", "", {}, 0, 0, {}, 0, ""},
    {"without its parent",
     "",
     {"a/b"},
     0,
     2056,
     {"\"@/a/b\", Cannot create directory: No such file or directory[2]"},
     -1,
     ""},
    {"what is there",
     "d/f",
     {"d"},
     0,
     2056,
     {"\"@/d\", Cannot create directory: File exists[17]"},
     2055,
     "d/f"},
    {"where a file is",
     "f=old",
     {"f"},
     0,
     2056,
     {"\"@/f\", Cannot create directory: File exists[17]"},
     2055,
     "f=old"},
    {"where a dangling link is",
     "l->nowhere",
     {"l"},
     0,
     2056,
     {"\"@/l\", Cannot create directory: File exists[17]"},
     2055,
     "l->nowhere"},
    {"up to the first failure",
     "b/",
     {"a", "b", "c"},
     0,
     2056,
     {"\"@/b\", Cannot create directory: File exists[17]"},
     2055,
     "a/ b/"},
    {"with its parents", "a/", {"a/b/c"}, kRecursive, 0, {}, 0, "a/b/c/"},
    {"with every parent", "", {"a/b/c/d/e"}, kRecursive, 0, {}, 0, "a/b/c/d/e/"},
    {"with no parent missing", "a/", {"a/b"}, kRecursive, 0, {}, 0, "a/b/"},
    {"what is there, with its parents",
     "a/b/",
     {"a/b"},
     kRecursive,
     2056,
     {"\"@/a/b\", Cannot create directory: File exists[17]"},
     2055,
     "a/b/"},
    {"below a file, with parents",
     "a/b=old",
     {"a/b/c"},
     kRecursive,
     2056,
     {"\"@/a/b\", is not a directory"},
     -1,
     "a/b=old"},
    {"below a file",
     "f=old",
     {"f/d"},
     0,
     2056,
     {"\"@/f/d\", Cannot create directory: Not a directory[20]"},
     -1,
     "f=old"},
    {"below a link, with parents",
     "a/ l->a",
     {"l/d"},
     kRecursive,
     2056,
     {"\"@/l\", is not a directory"},
     -1,
     "a/ l->a"},
    {"below a followed link, with parents",
     "a/ l->a",
     {"l/d"},
     kRecursive | kFollow,
     0,
     {},
     0,
     "a/d/ l->a"},
    {"below a dangling link, with parents",
     "l->nowhere",
     {"l/d"},
     kRecursive | kFollow,
     2056,
     {"\"@/l\", Cannot create directory: File exists[17]"},
     2055,
     "l->nowhere"},
    {"a plain path under the wildcard bit", "", {"d"}, kPatterns, 0, {}, 0, "d/"},
    // Kept: what fails below a plain tail is reported and stops nothing.
    {"what is there, under the wildcard bit",
     "d/",
     {"d", "e"},
     kPatterns,
     0,
     {"\"@/d\", Cannot create directory: File exists[17]"},
     2055,
     "d/ e/"},
    {"below what a pattern matches", "ax/ bx/ f", {"?x/d"}, kPatterns, 0, {}, 0, "ax/d/ bx/d/ f"},
};

TEST_F(Mkdir, MakesWhatItIsGivenAndNothingElse) {
  for (const MkdirCase& row : kMkdirs) {
    SCOPED_TRACE(row.what);
    trees::make(dir.path(), row.tree);
    Texts messages;
    for (std::string message : row.messages)
      messages.push_back(message.replace(message.find('@'), 1, dir.path()));
    ScriptedFiler filer(dir.path());
    EXPECT_EQ(filer.mkdir(row.paths, nullptr, HOQFilerOptions(row.options)), row.code);
    EXPECT_EQ(filer.handler->messages(), messages);
    if (!filer.handler->errors.empty()) {
      EXPECT_EQ(filer.handler->errors[0].code, row.reported);
    }
    EXPECT_EQ(left(), row.left);
    removeContents(dir.path());
  }
}

TEST_F(Mkdir, AnAbsolutePathDoesNotNeedTheWorkingDirectory) {
  ScriptedFiler filer("/nowhere/at/all");
  EXPECT_EQ(filer.mkdir({dir / "a/b"}, nullptr, HOQFilerOptions(kRecursive)), 0);
  EXPECT_EQ(left(), "a/b/");
}

TEST_F(Mkdir, APathMayLeaveTheWorkingDirectory) {
  trees::make(dir.path(), "w/v/");
  ScriptedFiler filer(dir / "w/v");
  EXPECT_EQ(filer.mkdir({"../x", "../../y/z"}, nullptr, HOQFilerOptions(kRecursive)), 0);
  EXPECT_EQ(left(), "w/v/ w/x/ y/z/");
}

TEST_F(Mkdir, DirectoriesGetEveryRightThatTheUmaskLeaves) {
  const UmaskGuard mask(027);
  EXPECT_EQ(mkdir({"d", "a/b"}, kRecursive).code, 0);
  EXPECT_EQ(modeOf("d"), 0750U);
  EXPECT_EQ(modeOf("a"), 0750U);
  EXPECT_EQ(modeOf("a/b"), 0750U);
}

// Kept: the attributes are accepted and have no effect.
TEST_F(Mkdir, AttributesHaveNoEffect) {
  const UmaskGuard mask(022);
  const HOQSecurityAttributes attributes(0700);
  EXPECT_EQ(mkdir({"d", "a/b"}, kRecursive, &attributes).code, 0);
  EXPECT_EQ(modeOf("d"), 0755U);
  EXPECT_EQ(modeOf("a"), 0755U);
  EXPECT_EQ(modeOf("a/b"), 0755U);
}

// The routine reads errno after a success as well, so the operation clears it: here the item's
// own examination leaves "File exists" behind.
TEST_F(Mkdir, AnErrorFromBeforeDoesNotMatter) {
  FaultPlan plan(1, EEXIST, Call::Stat);
  failBy(plan);
  const Outcome outcome = mkdir({"d"});
  EXPECT_EQ(plan.path(), dir / "d");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(left(), "d/");
}

TEST_F(Mkdir, AnErrorFromBeforeDoesNotMatterForParents) {
  FaultPlan plan("/a", EEXIST, Call::Stat);
  failBy(plan);
  const Outcome outcome = mkdir({"a/b/c"}, kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(left(), "a/b/c/");
}

TEST_F(Mkdir, TheNewDirectoryGetsItsOwnModeAndOwnerAgain) {
  CallLog log;
  maker = [&log](const std::string& directory) {
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  EXPECT_EQ(mkdir({"a/b"}, kRecursive).code, 0);
  EXPECT_EQ(log.count(Call::Chmod, dir / "a/b"), 1);
  EXPECT_EQ(log.count(Call::Chown, dir / "a/b"), 1);
  EXPECT_EQ(log.count(Call::Chmod, dir / "a"), 0);  // a parent is only made
  EXPECT_EQ(log.count(Call::Chown, dir / "a"), 0);
}

TEST_F(Mkdir, ParentsAreExaminedFromTheFirstComponentAndTheRootIsNot) {
  CallLog log;
  maker = [&log](const std::string& directory) {
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  EXPECT_EQ(mkdir({"a/b"}, kRecursive).code, 0);
  EXPECT_EQ(log.count(Call::Stat, ""), 0);
  EXPECT_EQ(log.count(Call::Stat, "/"), 0);
  const std::string first = dir.path().substr(0, dir.path().find('/', 1));
  EXPECT_EQ(log.count(Call::Stat, first), 1);
  EXPECT_EQ(log.count(Call::Mkdir, dir / "a"), 1);
  EXPECT_EQ(log.count(Call::Mkdir, dir / "a/b"), 1);
  EXPECT_EQ(log.count(Call::Mkdir), 2);
}

TEST_F(Mkdir, AModeThatCannotBeGivenIsReportedWithTheDirectoryMade) {
  FaultPlan plan("/d", EPERM, Call::Chmod);
  failBy(plan);
  const Outcome outcome = mkdir({"d"});
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d") + ", Cannot create directory: Operation not permitted[1]"});
  EXPECT_EQ(left(), "d/");
}

TEST_F(Mkdir, WhatWasMadeBeforeAFailureStays) {
  FaultPlan plan("/a/b/c", ENOSPC, Call::Mkdir);
  failBy(plan);
  const Outcome outcome = mkdir({"a/b/c/d"}, kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("a/b/c") + ", Cannot create directory: No space left on device[28]"});
  EXPECT_EQ(left(), "a/b/");
}

TEST_F(Mkdir, ItemsNeedNotBeThere) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  EXPECT_FALSE(MkdirOperate(routine, options).path.reportStat);
}

TEST_F(Mkdir, NamesOfEveryByteAreMade) {
  trees::make(dir.path(), "d/");
  for (const std::string& name : trees::everyByteNames(dir / "d"))
    EXPECT_EQ(mkdir({name + "/inner"}, kRecursive).code, 0) << name;
}

TEST_F(Mkdir, ANameThatNoSystemTakesIsReportedOnce) {
  const Outcome outcome = mkdir({std::string(256, 'n')});
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages.size(), 1U);
  EXPECT_EQ(left(), "");
}

}  // namespace
}  // namespace HOQ::test
