#include <grp.h>
#include <gtest/gtest.h>
#include <hoq/HOQUserCredentials.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "routine/HOQFileRoutineLin.h"
#include "support/Isolation.h"

namespace HOQ::test {
namespace {

constexpr std::uint32_t kNone = HOQUserCredentials::kNone;

// Each of these changes its process for good, so it does it in a child.

std::vector<gid_t> supplementaryGroups() {
  std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
  groups.resize(
      static_cast<std::size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
  return groups;
}

mode_t umaskNow() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

int take(const HOQUserCredentials& credentials) {
  return HOQFileRoutineLin("").setCredentials(credentials);
}

TEST(Credentials, AFreshRecordSetsTheUmaskToNothingAndKeepsTheRest) {
  EXPECT_EQ(inChild([] {
              umask(027);
              const std::vector<gid_t> before = supplementaryGroups();
              const uid_t uid = getuid();
              EXPECT_EQ(take(HOQUserCredentials(kNone, kNone)), 0);
              EXPECT_EQ(umaskNow(), 0U);
              EXPECT_EQ(getuid(), uid);
              EXPECT_EQ(supplementaryGroups(), before);
            }),
            "");
}

TEST(Credentials, TheUmaskIsSetUnlessItIsNegative) {
  EXPECT_EQ(inChild([] {
              HOQUserCredentials credentials(kNone, kNone);
              credentials.umask = 037;
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(umaskNow(), 037U);
              credentials.umask = -1;
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(umaskNow(), 037U);
            }),
            "");
}

TEST(Credentials, AnUnknownGroupAloneLeavesTheGroups) {
  EXPECT_EQ(inChild([] {
              const std::vector<gid_t> before = supplementaryGroups();
              const gid_t gid = getgid();
              HOQUserCredentials credentials(kNone, kNone);
              credentials.groups = {"no-such-name-anywhere"};
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(supplementaryGroups(), before);
              EXPECT_EQ(getgid(), gid);
            }),
            "");
}

TEST(Credentials, AnUnknownUserNameFails) {
  EXPECT_EQ(inChild([] {
              HOQUserCredentials credentials(kNone, kNone);
              credentials.name = "no-such-name-anywhere";
              credentials.umask = 041;
              EXPECT_EQ(take(credentials), -1);
              EXPECT_EQ(umaskNow(), 041U);  // earlier steps are done
            }),
            "");
}

TEST(Credentials, GroupsAreIdsThenKnownNamesAndTheFirstIsPrimary) {
  HOQ_NEEDS_ROOT("only it changes groups");
  const group* known = getgrnam("nogroup");
  if (known == nullptr) GTEST_SKIP() << "there is no group \"nogroup\"";
  const gid_t named = known->gr_gid;
  EXPECT_EQ(inChild([named] {
              HOQUserCredentials credentials(kNone, 1234);
              credentials.gids.push_back(1235);
              credentials.groups = {"no-such-name-anywhere", "nogroup"};
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(getgid(), 1234U);
              EXPECT_EQ(getegid(), 1234U);
              const std::vector<gid_t> expected = {1234, 1235, named};
              EXPECT_EQ(supplementaryGroups(), expected);
              EXPECT_EQ(getuid(), 0U);
            }),
            "");
}

TEST(Credentials, AGroupNameAloneBecomesPrimary) {
  HOQ_NEEDS_ROOT("only it changes groups");
  const group* known = getgrnam("nogroup");
  if (known == nullptr) GTEST_SKIP() << "there is no group \"nogroup\"";
  const gid_t named = known->gr_gid;
  EXPECT_EQ(inChild([named] {
              HOQUserCredentials credentials(kNone, kNone);
              credentials.groups = {"nogroup"};
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(getgid(), named);
            }),
            "");
}

TEST(Credentials, TheUserIsSetLastById) {
  HOQ_NEEDS_ROOT("only it changes its user");
  EXPECT_EQ(inChild([] {
              HOQUserCredentials credentials(4321, 1234);
              credentials.name = "no-such-name-anywhere";  // an id needs no name
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(getuid(), 4321U);
              EXPECT_EQ(geteuid(), 4321U);
              EXPECT_EQ(getgid(), 1234U);
            }),
            "");
}

TEST(Credentials, TheUserIsFoundByName) {
  HOQ_NEEDS_ROOT("only it changes its user");
  const passwd* nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "there is no user \"nobody\"";
  const uid_t uid = nobody->pw_uid;
  EXPECT_EQ(inChild([uid] {
              HOQUserCredentials credentials(kNone, kNone);
              credentials.name = "nobody";
              EXPECT_EQ(take(credentials), 0);
              EXPECT_EQ(getuid(), uid);
            }),
            "");
}

TEST(Credentials, WithoutTheRightTheFirstStepThatFailsEndsIt) {
  EXPECT_EQ(inChild([] {
              if (isRoot()) {
                ASSERT_EQ(setgroups(0, nullptr), 0);
                ASSERT_EQ(setuid(4321), 0);
              }
              const gid_t gid = getgid();
              EXPECT_EQ(take(HOQUserCredentials(kNone, gid + 1)), -1);
              EXPECT_EQ(errno, EPERM);
              EXPECT_EQ(getgid(), gid);
              EXPECT_EQ(take(HOQUserCredentials(getuid() + 1, kNone)), -1);
              EXPECT_EQ(errno, EPERM);
            }),
            "");
}

}  // namespace
}  // namespace HOQ::test
