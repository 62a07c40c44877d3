#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>

#include "filemanager/routine/RoutineWorld.h"
#include "support/Isolation.h"
#include "support/MemoryRoutine.h"

namespace HOQ::test {
namespace {

constexpr unsigned kNone = 0xFFFFFFFF;
constexpr unsigned kNobodysId = 4'000'000'001U;  // no table has it
constexpr char kNobodysName[] = "no-such-name-anywhere";

class OwnersContract : public RoutineContract {
 protected:
  void SetUp() override {
    makeFile("f", "");
    routine = at("f");
  }

  /// The ids of a handle, which is released.
  std::pair<unsigned, unsigned> idsOf(void* owner) {
    unsigned uid = 1;
    unsigned gid = 1;
    EXPECT_EQ(routine->convown(owner, uid, gid), 0);
    EXPECT_EQ(routine->freeown(owner), 0);
    return {uid, gid};
  }

  std::unique_ptr<HOQFileRoutine> routine;
};
HOQ_ALL_WORLDS(OwnersContract);

TEST_P(OwnersContract, AHandleOfIdsHoldsThem) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(12U, 34U, owner), 0);
  EXPECT_EQ(idsOf(owner), std::make_pair(12U, 34U));
}

TEST_P(OwnersContract, AHandleOfNamesHoldsTheirIds) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(world->userName().c_str(), world->groupName().c_str(), owner), 0);
  EXPECT_EQ(idsOf(owner), std::make_pair(world->uid(), world->gid()));
}

TEST_P(OwnersContract, ANameThatIsNotGivenLeavesItsIdOpen) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(world->userName().c_str(), nullptr, owner), 0);
  EXPECT_EQ(idsOf(owner), std::make_pair(world->uid(), kNone));
  ASSERT_EQ(routine->convown(nullptr, world->groupName().c_str(), owner), 0);
  EXPECT_EQ(idsOf(owner), std::make_pair(kNone, world->gid()));
}

TEST_P(OwnersContract, AnUnknownNameGivesNoHandle) {
  int mark = 0;
  void* owner = &mark;
  EXPECT_EQ(routine->convown(kNobodysName, nullptr, owner), -1);
  EXPECT_EQ(routine->convown(nullptr, kNobodysName, owner), -1);
  EXPECT_EQ(routine->convown("", nullptr, owner), -1);
  EXPECT_EQ(routine->convown(nullptr, "", owner), -1);
  EXPECT_EQ(routine->convown(world->userName().c_str(), kNobodysName, owner), -1);
  EXPECT_EQ(owner, &mark);
}

TEST_P(OwnersContract, AHandleWithoutNamesChangesNothing) {
  ASSERT_EQ(routine->stat(), 0);
  const auto before = std::make_pair(routine->statBuffer.st_uid, routine->statBuffer.st_gid);
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(nullptr, nullptr, owner), 0);
  EXPECT_EQ(routine->chown(owner), 0);
  EXPECT_EQ(idsOf(owner), std::make_pair(kNone, kNone));
  ASSERT_EQ(routine->stat(), 0);
  EXPECT_EQ(std::make_pair(routine->statBuffer.st_uid, routine->statBuffer.st_gid), before);
}

TEST_P(OwnersContract, TheOwnerOfAPathIsExaminedAnew) {
  void* owner = nullptr;
  ASSERT_EQ(routine->getown(owner), 0);
  EXPECT_TRUE(routine->isReg());
  EXPECT_EQ(idsOf(owner), std::make_pair(routine->statBuffer.st_uid, routine->statBuffer.st_gid));
}

TEST_P(OwnersContract, AMissingPathHasNoOwner) {
  int mark = 0;
  void* owner = &mark;
  EXPECT_EQ(at("missing")->getown(owner), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(owner, &mark);
}

TEST_P(OwnersContract, AHandlesIdsHaveNames) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(world->uid(), world->gid(), owner), 0);
  std::string user;
  std::string group;
  EXPECT_EQ(routine->convown(owner, user, group), 0);
  EXPECT_EQ(user, world->userName());
  EXPECT_EQ(group, world->groupName());
  EXPECT_EQ(routine->freeown(owner), 0);
}

TEST_P(OwnersContract, IdsThatAreNotGivenLeaveTheNamesAsTheyWere) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(kNone, kNone, owner), 0);
  std::string user = "u";
  std::string group = "g";
  EXPECT_EQ(routine->convown(owner, user, group), 0);
  EXPECT_EQ(user + group, "ug");
  EXPECT_EQ(routine->freeown(owner), 0);
}

TEST_P(OwnersContract, AnUnknownUserKeepsTheGroupFromBeingLookedUp) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(kNobodysId, world->gid(), owner), 0);
  std::string user = "u";
  std::string group = "g";
  EXPECT_EQ(routine->convown(owner, user, group), -1);
  EXPECT_EQ(group, "g");
  EXPECT_EQ(routine->freeown(owner), 0);
}

TEST_P(OwnersContract, AnUnknownGroupFailsWithTheUserFound) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(world->uid(), kNobodysId, owner), 0);
  std::string user;
  std::string group;
  EXPECT_EQ(routine->convown(owner, user, group), -1);
  EXPECT_EQ(user, world->userName());
  EXPECT_EQ(group, "");
  EXPECT_EQ(routine->freeown(owner), 0);
}

TEST_P(OwnersContract, ChownOfAMissingPathFails) {
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(kNone, kNone, owner), 0);
  EXPECT_EQ(at("missing")->chown(owner), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(routine->freeown(owner), 0);
}

// An owner who changes nothing may do that, and the system takes the bits away all the same.
TEST_P(OwnersContract, ChownKeepsTheSetIdBits) {
  for (const int mode : {04755, 02755, 06711}) {
    ASSERT_EQ(routine->chmod(mode), 0);
    ASSERT_EQ(routine->stat(), 0);
    void* owner = nullptr;
    ASSERT_EQ(routine->convown(kNone, kNone, owner), 0);
    EXPECT_EQ(routine->chown(owner), 0);
    EXPECT_EQ(routine->freeown(owner), 0);
    EXPECT_EQ(modeOf("f"), static_cast<unsigned>(mode));
  }
}

TEST_P(OwnersContract, ChownThroughALinkPutsNoBitsBack) {
  ASSERT_EQ(routine->chmod(04755), 0);
  makeLink("l", "f");
  const auto link = at("l");
  ASSERT_EQ(link->stat(), 0);
  link->statBuffer.st_mode |= 06000;  // whatever the bits of a link are, they are not its target's
  void* owner = nullptr;
  ASSERT_EQ(link->convown(kNone, kNone, owner), 0);
  EXPECT_EQ(link->chown(owner), 0);
  EXPECT_EQ(link->freeown(owner), 0);
  EXPECT_EQ(modeOf("f"), 0755U);
}

TEST_P(OwnersContract, ANullHandleMayBeReleased) { EXPECT_EQ(routine->freeown(nullptr), 0); }

TEST_P(OwnersContract, CpOwnOfAMissingSourceFails) {
  const auto missing = at("missing");
  EXPECT_EQ(routine->cpOwn(missing.get()), -1);
}

TEST_P(OwnersContract, CpOwnFromAnotherKindGoesByNames) {
  MemoryFs elsewhere;
  elsewhere.users = {{world->userName(), 501}};
  elsewhere.groups = {{world->groupName(), 502}};
  struct Stranger : MemoryRoutine {
    using MemoryRoutine::MemoryRoutine;
    unsigned getType() override { return 77; }
  } source(elsewhere, "/there");
  errno = 0;
  ASSERT_EQ(source.mkdir(nullptr), 0);
  MemoryFs::NodePtr node;
  ASSERT_EQ(elsewhere.lookUp("/there", true, node), 0);
  node->uid = 501;
  node->gid = 502;
  EXPECT_EQ(routine->cpOwn(&source), 0);
  ASSERT_EQ(routine->stat(), 0);
  EXPECT_EQ(routine->statBuffer.st_uid, world->uid());
  EXPECT_EQ(routine->statBuffer.st_gid, world->gid());
  node->uid = 503;  // without a name
  EXPECT_EQ(routine->cpOwn(&source), -1);
}

TEST_P(OwnersContract, CpOwnBetweenRoutinesOfAKindPassesIdsThatHaveNoName) {
  if (std::string(GetParam().name) == "Linux")
    HOQ_NEEDS_ROOT("only it gives a file to an id without a name");
  makeFile("g", "");
  void* owner = nullptr;
  ASSERT_EQ(routine->convown(kNobodysId, kNobodysId + 1, owner), 0);
  ASSERT_EQ(routine->chown(owner), 0);
  EXPECT_EQ(routine->freeown(owner), 0);
  const auto target = at("g");
  EXPECT_EQ(target->cpOwn(routine.get()), 0);
  ASSERT_EQ(target->stat(), 0);
  EXPECT_EQ(target->statBuffer.st_uid, kNobodysId);
  EXPECT_EQ(target->statBuffer.st_gid, kNobodysId + 1);
}

}  // namespace
}  // namespace HOQ::test
