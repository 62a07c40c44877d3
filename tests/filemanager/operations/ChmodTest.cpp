#include <cerrno>
#include <cstdio>
#include <string>

#include "filemanager/operations/ChangesFixture.h"
#include "operations/ChmodOperate.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/LoggingRoutine.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

class Chmod : public ChangesFixture {
 protected:
  /// "path:mode" of everything below the place but links.
  std::string modes() const {
    std::string line;
    for (const std::string& item : trees::pathsBelow(dir.path())) {
      if (S_ISLNK(infoOf(dir / item).st_mode)) continue;
      char mode[8];
      std::snprintf(mode, sizeof mode, "%o", modeOf(item));
      line += (line.empty() ? "" : " ") + item + ":" + mode;
    }
    return line;
  }
};

struct ChmodCase {
  const char* what;
  const char* tree;
  HOQFiler::Paths paths;  // "@" stands for the place
  int mode;
  int options;
  int code;
  Texts messages;
  const char* modes;
};

const ChmodCase kChmods[] = {
    {"a file", "f%600 g%600", {"f"}, 0644, 0, 0, {}, "f:644 g:600"},
    {"several", "f%600 d/%700 g%600", {"f", "d"}, 0755, 0, 0, {}, "d:755 f:755 g:600"},
    {"by an absolute path", "d/f%600", {"@/d/f"}, 0640, 0, 0, {}, "d:755 d/f:640"},
    {"by a crooked path", "d/f%600", {"d/..//./d/f"}, 0640, 0, 0, {}, "d:755 d/f:640"},
    {"a FIFO", "p|", {"p"}, 0600, 0, 0, {}, "p:600"},
    {"every bit", "d/%700 f%600", {"d", "f"}, 07777, 0, 0, {}, "d:7777 f:7777"},
    {"no bit", "f%600", {"f"}, 0, 0, 0, {}, "f:0"},
    {"bits that the system leaves out", "f%600", {"f"}, 0100644, 0, 0, {}, "f:644"},
    {"nothing", "f%600", {}, 0644, 0, 0, {}, "f:600"},
    {"a directory alone", "d/f%600", {"d"}, 0700, 0, 0, {}, "d:700 d/f:600"},
    {"a tree",
     "d/f%600 d/e/g%600 d/p| h%600",
     {"d"},
     0750,
     kRecursive,
     0,
     {},
     "d:750 d/e:750 d/e/g:750 d/f:750 d/p:750 h:600"},
    {"a file as a tree", "f%600", {"f"}, 0644, kRecursive, 0, {}, "f:644"},
    // Links pass the change on, and are not entered.
    {"a link to a file", "f%600 l->f", {"l"}, 0644, 0, 0, {}, "f:644"},
    {"a link to a directory", "d/f%600 l->d", {"l"}, 0700, kRecursive, 0, {}, "d:700 d/f:600"},
    {"links in a tree",
     "d/l->../f d/m->../e e/g%600 f%600",
     {"d"},
     0750,
     kRecursive,
     0,
     {},
     "d:750 e:750 e/g:600 f:750"},
    {"followed links in a tree",
     "d/l->../f d/m->../e e/g%600 f%600",
     {"d"},
     0750,
     kRecursive | kFollow,
     0,
     {},
     "d:750 e:750 e/g:750 f:750"},
    {"a followed link without the recursive bit",
     "d/f%600 l->d",
     {"l"},
     0700,
     kFollow,
     0,
     {},
     "d:700 d/f:600"},
    {"a dangling link",
     "l->no",
     {"l"},
     0644,
     0,
     2056,
     {"\"@/l\", Cannot change mode: No such file or directory[2]"},
     ""},
    {"a dangling link in a tree",
     "d/l->no",
     {"d"},
     0700,
     kRecursive,
     2056,
     {"\"@/d/l\", Cannot change mode: No such file or directory[2]"},
     "d:700"},
    {"a dangling link, followed",
     "l->no",
     {"l"},
     0644,
     kFollow,
     2056,
     {"\"@/l\", Cannot get information: No such file or directory[2]"},
     ""},
    {"what is missing",
     "f%600",
     {"no"},
     0644,
     0,
     2056,
     {"\"@/no\", Cannot get information: No such file or directory[2]"},
     "f:600"},
    // What was changed before a failure stays changed; what comes after is not reached.
    {"up to the first failure",
     "a%600 b%600",
     {"a", "no", "b"},
     0644,
     0,
     2056,
     {"\"@/no\", Cannot get information: No such file or directory[2]"},
     "a:644 b:600"},
    {"a pattern",
     "a.x%600 b.x%600 c%600",
     {"*.x"},
     0644,
     kPatterns,
     0,
     {},
     "a.x:644 b.x:644 c:600"},
    {"a pattern of trees",
     "d/e/f%600 d/g%600",
     {"d/*"},
     0750,
     kPatterns | kRecursive,
     0,
     {},
     "d:755 d/e:750 d/e/f:750 d/g:750"},
    {"a star without the wildcard bit", "*%600 a%600", {"*"}, 0644, 0, 0, {}, "*:644 a:600"},
};

TEST_F(Chmod, ChangesWhatItIsGivenAndNothingElse) {
  for (const ChmodCase& row : kChmods) {
    SCOPED_TRACE(row.what);
    trees::make(dir.path(), row.tree);
    const Said outcome = chmod(placed(row.paths), row.mode, row.options);
    EXPECT_EQ(outcome.code, row.code);
    EXPECT_EQ(outcome.messages, placed(row.messages));
    EXPECT_EQ(outcome.codes, std::vector<int>(row.messages.size(), -1));
    EXPECT_EQ(outcome.progress, Texts{});
    EXPECT_EQ(modes(), row.modes);
    empty();
  }
}

TEST_F(Chmod, ADirectoryComesBeforeItsEntries) {
  trees::make(dir.path(), "d/e/f");
  CallLog log;
  maker = [&log](const std::string& directory) {
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  EXPECT_EQ(chmod({"d"}, 0755, kRecursive).code, 0);
  Texts order;
  for (const CallLog::Entry& entry : log.entries)
    if (entry.call == Call::Chmod || entry.call == Call::Opendir)
      order.push_back(std::string(nameOf(entry.call)) + " " + entry.path);
  EXPECT_EQ(order, placed(Texts{"chmod @/d", "opendir @/d", "chmod @/d/e", "opendir @/d/e",
                                "chmod @/d/e/f"}));
}

TEST_F(Chmod, AFailureStopsTheWalk) {
  trees::make(dir.path(), "d/e/f%600 g%600");
  FaultPlan plan("/e", EPERM, Call::Chmod);
  failBy(plan);
  const Said outcome = chmod({"d", "g"}, 0700, kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            placed(Texts{"\"@/d/e\", Cannot change mode: Operation not permitted[1]"}));
  EXPECT_EQ(modes(), "d:700 d/e:755 d/e/f:600 g:600");
}

TEST_F(Chmod, ADirectoryThatCannotBeReadAfterItsChangeIsReported) {
  trees::make(dir.path(), "d/f%600");
  FaultPlan plan("/d", EACCES, Call::Opendir);
  failBy(plan);
  const Said outcome = chmod({"d"}, 0700, kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            placed(Texts{"\"@/d\", Cannot read directory: Permission denied[13]"}));
  EXPECT_EQ(modes(), "d:700 d/f:600");
}

TEST_F(Chmod, TakingTheRightToReadADirectoryFailsItsWalk) {
  trees::make(dir.path(), "d/f%600");
  EXPECT_EQ(asUnprivileged([this] {
              const Said outcome = chmod({"d"}, 0, kRecursive);
              EXPECT_EQ(outcome.code, 2056);
              EXPECT_EQ(outcome.messages,
                        placed(Texts{"\"@/d\", Cannot read directory: Permission denied[13]"}));
            }),
            "");
  EXPECT_EQ(modeOf("d"), 0U);
}

TEST_F(Chmod, AnothersFileIsNotChanged) {
  HOQ_NEEDS_ROOT("a file must belong to another user");
  trees::make(elsewhere.path(), "f%600");
  ASSERT_EQ(::chmod(elsewhere.path().c_str(), 0755), 0);
  EXPECT_EQ(asUnprivileged([this] {
              EXPECT_EQ(chmod({elsewhere / "f"}, 0644).messages,
                        placed(Texts{"\"^/f\", Cannot change mode: Operation not permitted[1]"}));
            }),
            "");
  EXPECT_EQ(infoOf(elsewhere / "f").st_mode & 07777, 0600U);
}

TEST_F(Chmod, AsksForItsRightAndARoutine) {
  trees::make(dir.path(), "f%600");
  {
    const Rights reading(true, false);
    const Said outcome = chmod({"f"}, 0644);
    EXPECT_EQ(outcome.code, 414);
    EXPECT_EQ(outcome.messages, Texts{});
  }
  maker = [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); };
  const Said outcome = chmod({"f"}, 0644);
  EXPECT_EQ(outcome.code, 2002);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(modes(), "f:600");
}

TEST(ChmodLayout, OperationsStandInTheirSlots) {
  EXPECT_EQ(slotOf(&ChmodOperate::operate), 2);
  EXPECT_EQ(slotOf(&ChmodOperate::beforeDir), 3);
  EXPECT_EQ(slotOf(&ChmodOperate::afterDir), 4);
  EXPECT_EQ(slotOf(&ChmodOperate::filtrate), 5);
}

TEST(ChmodLayout, TheModeFollowsTheBase) {
  HOQFileRoutineLin routine("/");
  const HOQFilerOptions options(0);
  const ChmodOperate operation(routine, options, 0750);
  EXPECT_GT(offsetIn(operation, operation.mode), offsetIn(operation, operation.path));
  EXPECT_EQ(operation.mode, 0750);
  EXPECT_TRUE(operation.path.reportStat);
}

}  // namespace
}  // namespace HOQ::test
