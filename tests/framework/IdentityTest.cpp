#include <hoq/HOQIdentity.h>

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>

#include "support/Isolation.h"

namespace HOQ::test {
namespace {

constexpr std::uint32_t kNone = HOQUserCredentials::kNone;

/// No names are to be looked up.
HOQUserCredentials identity(std::uint32_t uid, std::vector<std::uint32_t> gids) {
  HOQUserCredentials credentials = emptyCredentials();
  credentials.uid = uid;
  credentials.gids = std::move(gids);
  return credentials;
}

// What an identity's steps do is tested with the routine's setCredentials, which is made of them.

TEST(Identity, WhatWasTakenIsAllThatThereIs) {
  HOQ_NEEDS_ROOT("only it changes its user");
  EXPECT_EQ(inChild([] {
              const HOQUserCredentials user = identity(4321, {1234, 1235});
              ASSERT_EQ(takeIdentity(user), 0);
              EXPECT_EQ(whyNotOnly(user), "");
              EXPECT_EQ(getuid(), 4321U) << "looking changes nothing";
              EXPECT_EQ(getgid(), 1234U);
            }),
            "");
}

TEST(Identity, CredentialsThatSayNothingChangeNothing) {
  EXPECT_EQ(inChild([] {
              const mode_t before = umask(027);
              ASSERT_EQ(takeIdentity(emptyCredentials()), 0);
              EXPECT_EQ(umask(before), 027U);
              EXPECT_TRUE(isOwnIdentity(emptyCredentials()));
            }),
            "");
}

TEST(Identity, ByIdsAloneAUsersNameIsOneThatIsNotFound) {
  HOQUserCredentials named = emptyCredentials();
  named.name = "root";
  errno = EIO;
  EXPECT_EQ(takeIdentity(named), -1);
  EXPECT_EQ(errno, 0);
}

TEST(Identity, WhatIsLeftOfAnotherIsFound) {
  HOQ_NEEDS_ROOT("only it changes its user");
  const struct {
    const char* name;
    int (*prepare)();
    const char* found;
  } rows[] = {
      {"root's group", [] { return setgroups(0, nullptr) | setuid(4321); },
       "a group id is another one"},
      {"a saved group",
       [] {
         const gid_t groups[] = {1234, 1235};
         return setgroups(2, groups) | setresgid(1234, 1234, 0) | setuid(4321);
       },
       "a group id is another one"},
      {"a supplementary group",
       [] {
         const gid_t groups[] = {1234, 1235, 0};
         return setgroups(3, groups) | setgid(1234) | setuid(4321);
       },
       "the supplementary groups are other ones"},
      {"a missing group",
       [] {
         const gid_t groups[] = {1234};
         return setgroups(1, groups) | setgid(1234) | setuid(4321);
       },
       "the supplementary groups are other ones"},
      {"a saved user",
       [] {
         const gid_t groups[] = {1234, 1235};
         return setgroups(2, groups) | setgid(1234) | setresuid(4321, 4321, 0);
       },
       "a user id is another one"},
      {"capabilities",
       [] {
         const gid_t groups[] = {1234, 1235};
         return setgroups(2, groups) | setgid(1234) | prctl(PR_SET_KEEPCAPS, 1) | setuid(4321);
       },
       "capabilities are left"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(inChild([&row] {
                ASSERT_EQ(row.prepare(), 0);
                EXPECT_EQ(whyNotOnly(identity(4321, {1234, 1235})), row.found);
              }),
              "");
  }
}

TEST(Identity, RootIsRootWhenItsIdsAndGroupsAre) {
  HOQ_NEEDS_ROOT("it is root's identity");
  EXPECT_EQ(inChild([] {
              ASSERT_EQ(takeIdentity(identity(0, {0})), 0);
              EXPECT_EQ(whyNotOnly(identity(0, {0})), "");
              EXPECT_NE(whyNotOnly(identity(0, {0, 1})), "");
            }),
            "");
}

TEST(Identity, HalfAnIdentityIsNoneToBeSureOf) {
  EXPECT_NE(whyNotOnly(identity(kNone, {0})), "");
  EXPECT_NE(whyNotOnly(identity(getuid(), {})), "");
}

TEST(Identity, AUsersGroupsBeginWithThePrimaryOne) {
  const passwd* root = getpwuid(0);
  ASSERT_NE(root, nullptr);
  const std::string name = root->pw_name;
  const gid_t primary = root->pw_gid;
  HOQUserCredentials byName(kNone, kNone);
  byName.umask = 022;
  ASSERT_EQ(credentialsOf(name, byName), 0);
  EXPECT_EQ(byName.uid, 0U);
  EXPECT_EQ(byName.name, name);
  ASSERT_FALSE(byName.gids.empty());
  EXPECT_EQ(byName.gids.front(), primary);
  EXPECT_EQ(byName.umask, 022);
  HOQUserCredentials byId(kNone, kNone);
  ASSERT_EQ(credentialsOf(0, byId), 0);
  EXPECT_EQ(byId.name, name);
  EXPECT_EQ(byId.gids, byName.gids);
}

TEST(Identity, AUserThatIsNotThereLeavesTheRecordAsItWas) {
  HOQUserCredentials credentials = identity(7, {8});
  errno = EIO;
  EXPECT_EQ(credentialsOf("no-such-name-anywhere", credentials), -1);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(credentialsOf(0xFFFFFFF0, credentials), -1);
  EXPECT_EQ(credentials.uid, 7U);
  EXPECT_EQ(credentials.gids, std::vector<std::uint32_t>{8});
}

TEST(Identity, CredentialsThatSayNothingNewAreOnesOwn) {
  const passwd* me = getpwuid(geteuid());
  const std::string name = me ? me->pw_name : "";
  HOQUserCredentials fresh(kNone, kNone);
  EXPECT_TRUE(isOwnIdentity(fresh));
  EXPECT_TRUE(isOwnIdentity(HOQUserCredentials(geteuid(), kNone)));
  EXPECT_TRUE(isOwnIdentity(HOQUserCredentials(geteuid(), getegid())));
  fresh.name = name;
  EXPECT_TRUE(isOwnIdentity(fresh));
}

TEST(Identity, CredentialsOfAnotherUserOrGroupAreNotOnesOwn) {
  EXPECT_FALSE(isOwnIdentity(HOQUserCredentials(geteuid() + 1, kNone)));
  EXPECT_FALSE(isOwnIdentity(HOQUserCredentials(kNone, 0xFFFFFFF0)));
  HOQUserCredentials credentials(geteuid(), getegid());
  credentials.groups = {"no-such-name-anywhere"};
  EXPECT_FALSE(isOwnIdentity(credentials));
  credentials.groups.clear();
  credentials.name = "no-such-name-anywhere";
  EXPECT_FALSE(isOwnIdentity(credentials)) << "the name is looked at beside the id";
}

}  // namespace
}  // namespace HOQ::test
