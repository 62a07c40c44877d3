#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <string>

#include "filemanager/operations/ChangesFixture.h"
#include "operations/ChownOperate.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/LoggingRoutine.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

constexpr unsigned kUnchanged = 0xFFFFFFFF;
constexpr char kNobody[] = "no such user or group";

class Chown : public ChangesFixture {
 protected:
  /// "path:uid:gid" of everything below the place.
  std::string owners() const {
    std::string line;
    for (const std::string& item : trees::pathsBelow(dir.path())) {
      const struct stat info = infoOf(dir / item);
      line += (line.empty() ? "" : " ") + item + ":" + std::to_string(info.st_uid) + ":" +
              std::to_string(info.st_gid);
    }
    return line;
  }

  void log() {
    maker = [this](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, calls));
    };
  }

  CallLog calls;
};

struct ChownCase {
  const char* what;
  const char* tree;  // everything belongs to 0:0 at first
  HOQFiler::Paths paths;
  unsigned uid;
  unsigned gid;
  int options;
  const char* owners;
};

const ChownCase kChowns[] = {
    {"a file", "f g", {"f"}, 11, 22, 0, "f:11:22 g:0:0"},
    {"the user alone", "f", {"f"}, 11, kUnchanged, 0, "f:11:0"},
    {"the group alone", "f", {"f"}, kUnchanged, 22, 0, "f:0:22"},
    {"neither", "f", {"f"}, kUnchanged, kUnchanged, 0, "f:0:0"},
    {"several", "a b c", {"a", "c"}, 11, 22, 0, "a:11:22 b:0:0 c:11:22"},
    {"a directory alone", "d/f", {"d"}, 11, 22, 0, "d:11:22 d/f:0:0"},
    {"a tree",
     "d/e/f d/p| g",
     {"d"},
     11,
     22,
     kRecursive,
     "d:11:22 d/e:11:22 d/e/f:11:22 d/p:11:22 g:0:0"},
    {"a link passes it on", "f l->f", {"l"}, 11, 22, 0, "f:11:22 l:0:0"},
    {"links in a tree pass it on",
     "d/l->../f d/m->../e e/g f",
     {"d"},
     11,
     22,
     kRecursive,
     "d:11:22 d/l:0:0 d/m:0:0 e:11:22 e/g:0:0 f:11:22"},
    {"followed links in a tree",
     "d/m->../e e/g",
     {"d"},
     11,
     22,
     kRecursive | kFollow,
     "d:11:22 d/m:0:0 e:11:22 e/g:11:22"},
    {"a pattern", "a.x b.x c", {"*.x"}, 11, 22, kPatterns, "a.x:11:22 b.x:11:22 c:0:0"},
    {"an id that nobody has", "f", {"f"}, 4000000001U, 4000000002U, 0, "f:4000000001:4000000002"},
};

TEST_F(Chown, ChangesWhatItIsGivenAndNothingElse) {
  HOQ_NEEDS_ROOT("owners are given away");
  for (const ChownCase& row : kChowns) {
    SCOPED_TRACE(row.what);
    trees::make(dir.path(), row.tree);
    const Said outcome = chown(row.paths, row.uid, row.gid, row.options);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.messages, Texts{});
    EXPECT_EQ(outcome.progress, Texts{});
    EXPECT_EQ(owners(), row.owners);
    empty();
  }
}

TEST_F(Chown, NamesAreTheIdsThatTheyStandFor) {
  HOQ_NEEDS_ROOT("owners are given away");
  const passwd* const user = getpwnam("daemon");
  const group* const group = getgrnam("bin");
  if (!user || !group) GTEST_SKIP() << "this system has no user daemon or no group bin";
  const std::string uid = std::to_string(user->pw_uid);
  const std::string gid = std::to_string(group->gr_gid);
  trees::make(dir.path(), "f g");
  EXPECT_EQ(chown({"f"}, "daemon", "bin").messages, Texts{});
  EXPECT_EQ(chown({"g"}, "daemon", "").messages, Texts{});
  EXPECT_EQ(owners(), "f:" + uid + ":" + gid + " g:" + uid + ":0");
}

TEST_F(Chown, OnesOwnFilesMayBeGivenToOneself) {
  trees::make(dir.path(), "d/f");
  const std::string before = owners();
  EXPECT_EQ(chown({"d"}, geteuid(), getegid(), kRecursive).messages, Texts{});
  EXPECT_EQ(chown({"d"}, kUnchanged, kUnchanged, kRecursive).code, 0);
  EXPECT_EQ(owners(), before);
}

TEST_F(Chown, SetIdBitsStay) {
  trees::make(dir.path(), "f%4755 g%2755 h%6711 d/%2755 plain%755 l->f");
  EXPECT_EQ(chown({"f", "g", "h", "d", "plain"}, geteuid(), getegid()).messages, Texts{});
  EXPECT_EQ(modeOf("f"), 04755U);
  EXPECT_EQ(modeOf("g"), 02755U);
  EXPECT_EQ(modeOf("h"), 06711U);
  EXPECT_EQ(modeOf("d"), 02755U);
  EXPECT_EQ(modeOf("plain"), 0755U);
  // What was examined is the link: the bits of what it leads to are the system's affair.
  log();
  EXPECT_EQ(chown({"l"}, geteuid(), getegid()).messages, Texts{});
  EXPECT_EQ(calls.count(Call::Chmod), 0);
  EXPECT_EQ(modeOf("f"), 0755U);
}

TEST_F(Chown, SetIdBitsBehindAFollowedLinkStay) {
  trees::make(dir.path(), "f%4755 l->f");
  EXPECT_EQ(chown({"l"}, geteuid(), getegid(), kFollow).messages, Texts{});
  EXPECT_EQ(modeOf("f"), 04755U);
}

TEST_F(Chown, AFailureStopsTheWalk) {
  trees::make(dir.path(), "d/e/f g");
  FaultPlan plan("/e", EPERM, Call::Chown);
  failBy(plan);
  const Said outcome = chown({"d", "g"}, geteuid(), getegid(), kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.codes, std::vector<int>{-1});
  EXPECT_EQ(outcome.messages,
            placed(Texts{"\"@/d/e\", Cannot change owner: Operation not permitted[1]"}));
}

TEST_F(Chown, SetIdBitsThatCannotBePutBackAreAFailure) {
  trees::make(dir.path(), "f%4755");
  FaultPlan plan("/f", EIO, Call::Chmod);
  failBy(plan);
  EXPECT_EQ(chown({"f"}, geteuid(), getegid()).messages,
            placed(Texts{"\"@/f\", Cannot change owner: Input/output error[5]"}));
  EXPECT_TRUE(plan.struck());
}

TEST_F(Chown, WhatIsMissingIsReported) {
  trees::make(dir.path(), "l->no");
  EXPECT_EQ(chown({"x"}, geteuid(), getegid()).messages,
            placed(Texts{"\"@/x\", Cannot get information: No such file or directory[2]"}));
  EXPECT_EQ(chown({"l"}, geteuid(), getegid()).messages,
            placed(Texts{"\"@/l\", Cannot change owner: No such file or directory[2]"}));
}

TEST_F(Chown, AnothersFileIsNotGivenAway) {
  HOQ_NEEDS_ROOT("a file must belong to another user");
  trees::make(elsewhere.path(), "f");
  ASSERT_EQ(::chmod(elsewhere.path().c_str(), 0755), 0);
  EXPECT_EQ(asUnprivileged([this] {
              EXPECT_EQ(chown({elsewhere / "f"}, geteuid(), kUnchanged).messages,
                        placed(Texts{"\"^/f\", Cannot change owner: Operation not permitted[1]"}));
            }),
            "");
  EXPECT_EQ(infoOf(elsewhere / "f").st_uid, 0U);
}

struct UnknownCase {
  const char* user;
  const char* group;
  const char* message;  // behind the working directory
};

const UnknownCase kUnknown[] = {
    {kNobody, "", "Cannot find user no such user or group"},
    {"", "", "Cannot find user "},
    {kNobody, "root", "Cannot find user no such user or group or group root"},
    {"root", kNobody, "Cannot find user root or group no such user or group"},
    {"100%s%n", "%d", "Cannot find user 100%s%n or group %d"},
};

TEST_F(Chown, AnUnknownOwnerFailsTheRequestBeforeAnyPathIsTouched) {
  trees::make(dir.path(), "f");
  log();
  for (const UnknownCase& row : kUnknown) {
    SCOPED_TRACE(row.message);
    const Said outcome = chown({"f", "no"}, row.user, row.group);
    EXPECT_EQ(outcome.code, -1);
    EXPECT_EQ(outcome.codes, std::vector<int>{-1});
    ASSERT_EQ(outcome.messages.size(), 1U);
    // What the system last failed at, if anything, may follow.
    const std::string message = "\"" + dir.path() + "\", " + row.message;
    const std::string told = outcome.messages[0];
    EXPECT_EQ(told.substr(0, message.size()), message);
    EXPECT_TRUE(told.size() == message.size() || told.compare(message.size(), 2, ": ") == 0)
        << told;
  }
  EXPECT_EQ(calls.count(Call::Stat), 0);
  EXPECT_EQ(calls.count(Call::Chown), 0);
}

TEST_F(Chown, WhyAnOwnerCannotBeFoundIsTold) {
  trees::make(dir.path(), "f");
  FaultPlan plan(1, EIO, Call::ConvownNames);
  failBy(plan);
  EXPECT_EQ(chown({"f"}, "root", "").messages,
            placed(Texts{"\"@\", Cannot find user root: Input/output error[5]"}));
  EXPECT_TRUE(plan.struck());
}

TEST_F(Chown, ALongNameIsCut) {
  const std::string longName(3000, 'u');
  const Said outcome = chown({"f"}, longName, longName);
  EXPECT_EQ(outcome.code, -1);
  ASSERT_EQ(outcome.messages.size(), 1U);
  const std::string start = "\"" + dir.path() + "\", Cannot find user uuuu";
  EXPECT_EQ(outcome.messages[0].substr(0, start.size()), start);
  EXPECT_EQ(outcome.messages[0].size(), 1023U);
}

/// A routine that knows no ids.
class Ignorant : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::convown;
  using HOQFileRoutineLin::HOQFileRoutineLin;
  int convown(unsigned uid, unsigned gid, void*&) override {
    askedUid = uid;
    askedGid = gid;
    errno = ESRCH;
    return -7;
  }
  unsigned askedUid = 0;
  unsigned askedGid = 0;
};

TEST_F(Chown, IdsThatTheRoutineDoesNotTakeFailTheRequestWithItsCode) {
  trees::make(dir.path(), "f");
  const boost::shared_ptr<Ignorant> routine(new Ignorant(dir.path()));
  maker = [&routine](const std::string&) { return routine; };
  Said outcome = chown({"f"}, 11U, 22U);
  EXPECT_EQ(outcome.code, -7);
  EXPECT_EQ(outcome.codes, std::vector<int>{-7});
  EXPECT_EQ(outcome.messages,
            placed(Texts{"\"@\", Cannot find uid 11 or gid 22: No such process[3]"}));
  outcome = chown({"f"}, 4294967294U, kUnchanged);
  EXPECT_EQ(outcome.messages,
            placed(Texts{"\"@\", Cannot find uid 4294967294: No such process[3]"}));
  EXPECT_EQ(routine->askedUid, 4294967294U);
  EXPECT_EQ(routine->askedGid, kUnchanged);
  outcome = chown({"f"}, kUnchanged, 0U);
  EXPECT_EQ(outcome.messages,
            placed(Texts{"\"@\", Cannot find uid 4294967295 or gid 0: No such process[3]"}));
}

TEST_F(Chown, AsksForItsRightAndARoutine) {
  {
    const Rights reading(true, false);
    EXPECT_EQ(chown({"f"}, kNobody, "").code, 414);
    EXPECT_EQ(chown({"f"}, 11U, 22U).code, 414);
    EXPECT_EQ(chown({"f"}, kNobody, "").messages, Texts{});
  }
  maker = [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); };
  EXPECT_EQ(chown({"f"}, kNobody, "").code, 2002);
  EXPECT_EQ(chown({"f"}, 11U, 22U).code, 2002);
}

TEST_F(Chown, SetTakesNamesAndIds) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  {
    ChownOperate operation(routine, options);
    EXPECT_EQ(operation.owner, nullptr);
    EXPECT_EQ((operation.set<unsigned, unsigned>(11, 22, "Cannot find uid %s or gid %s")), 0);
    unsigned uid = 0;
    unsigned gid = 0;
    EXPECT_EQ(routine.convown(operation.owner, uid, gid), 0);
    EXPECT_EQ(uid, 11U);
    EXPECT_EQ(gid, 22U);
  }
  ChownOperate operation(routine, options);
  EXPECT_EQ((operation.set<const char*, const char*>(nullptr, nullptr, "Cannot find user %s")), 0);
  unsigned uid = 0;
  unsigned gid = 0;
  EXPECT_EQ(routine.convown(operation.owner, uid, gid), 0);
  EXPECT_EQ(uid, kUnchanged);
  EXPECT_EQ(gid, kUnchanged);
}

/// Counts the handles that come back.
class Counting : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;
  int freeown(void* owner) override {
    ++freed;
    return HOQFileRoutineLin::freeown(owner);
  }
  int freed = 0;
};

TEST_F(Chown, TheHandleIsAlwaysReleased) {
  Counting routine(dir.path());
  const HOQFilerOptions options(0);
  { ChownOperate unset(routine, options); }
  EXPECT_EQ(routine.freed, 1);
  {
    ChownOperate set(routine, options);
    EXPECT_EQ((set.set<unsigned, unsigned>(11, 22, "")), 0);
  }
  EXPECT_EQ(routine.freed, 2);
}

TEST(ChownLayout, OperationsStandInTheirSlots) {
  EXPECT_EQ(slotOf(&ChownOperate::operate), 2);
  EXPECT_EQ(slotOf(&ChownOperate::beforeDir), 3);
  EXPECT_EQ(slotOf(&ChownOperate::afterDir), 4);
  EXPECT_EQ(slotOf(&ChownOperate::filtrate), 5);
}

TEST(ChownLayout, TheOwnerFollowsTheBase) {
  HOQFileRoutineLin routine("/");
  const HOQFilerOptions options(0);
  const ChownOperate operation(routine, options);
  EXPECT_GT(offsetIn(operation, operation.owner), offsetIn(operation, operation.path));
  EXPECT_TRUE(operation.path.reportStat);
}

}  // namespace
}  // namespace HOQ::test
