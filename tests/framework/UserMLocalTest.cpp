#include <grp.h>
#include <gtest/gtest.h>
#include <hoq/HOQUserMLocal.h>
#include <pwd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace HOQ {
namespace {

using Rows = std::vector<std::pair<std::string, std::uint32_t>>;

template <class Row>
Rows plain(const std::vector<Row>& rows) {
  Rows copied;
  for (const Row& row : rows) copied.emplace_back(row.name, row.id);
  return copied;
}

Rows systemUsers() {
  Rows rows;
  setpwent();
  while (const passwd* entry = getpwent()) rows.emplace_back(entry->pw_name, entry->pw_uid);
  endpwent();
  return rows;
}

Rows systemGroups() {
  Rows rows;
  setgrent();
  while (const group* entry = getgrent()) rows.emplace_back(entry->gr_name, entry->gr_gid);
  endgrent();
  return rows;
}

const HOQUserMLocal& manager() {
  static const HOQUserMLocal local((HOQAccessProviderPtr()));
  return local;
}

TEST(UserMLocal, ListsEveryUserInTheDatabasesOrder) {
  std::vector<HOQUser> users;
  EXPECT_EQ(manager().getUser(users, HOQUserNameID()), 0);
  EXPECT_EQ(plain(users), systemUsers());
  EXPECT_FALSE(users.empty());
}

TEST(UserMLocal, ListsEveryGroupInTheDatabasesOrder) {
  std::vector<HOQGroup> groups;
  EXPECT_EQ(manager().getGroup(groups, HOQGroupNameID()), 0);
  EXPECT_EQ(plain(groups), systemGroups());
  EXPECT_FALSE(groups.empty());
}

TEST(UserMLocal, SelectsByNameAndById) {
  const Rows root{{"root", 0}};
  std::vector<HOQUser> users;
  EXPECT_EQ(manager().getUser(users, HOQUserNameID{"root", 0xFFFFFFFF}), 0);
  EXPECT_EQ(plain(users), root);
  users.clear();
  EXPECT_EQ(manager().getUser(users, HOQUserNameID{"", 0}), 0);
  EXPECT_EQ(plain(users), root);

  std::vector<HOQGroup> groups;
  EXPECT_EQ(manager().getGroup(groups, HOQGroupNameID{"root", 0xFFFFFFFF}), 0);
  EXPECT_EQ(plain(groups), root);
  groups.clear();
  EXPECT_EQ(manager().getGroup(groups, HOQGroupNameID{"", 0}), 0);
  EXPECT_EQ(plain(groups), root);
}

TEST(UserMLocal, TakesTheNameWhereBothAreGiven) {
  std::vector<HOQUser> users;
  EXPECT_EQ(manager().getUser(users, HOQUserNameID{"root", 1}), 0);
  EXPECT_EQ(plain(users), (Rows{{"root", 0}}));
}

TEST(UserMLocal, FindsNobodyWithoutFailing) {
  std::vector<HOQUser> users;
  std::vector<HOQGroup> groups;
  for (const std::string name : {"hoq no such name", "100%s%n", "a:b", "x\ny"}) {
    EXPECT_EQ(manager().getUser(users, HOQUserNameID{name, 0xFFFFFFFF}), 0) << name;
    EXPECT_EQ(manager().getGroup(groups, HOQGroupNameID{name, 0xFFFFFFFF}), 0) << name;
  }
  EXPECT_EQ(manager().getUser(users, HOQUserNameID{"", 0xFFFFFFFE}), 0);
  EXPECT_EQ(manager().getGroup(groups, HOQGroupNameID{"", 0xFFFFFFFE}), 0);
  EXPECT_TRUE(users.empty() && groups.empty());
}

TEST(UserMLocal, Appends) {
  std::vector<HOQUser> users{{"before", 7}};
  EXPECT_EQ(manager().getUser(users, HOQUserNameID()), 0);
  Rows expected{{"before", 7}};
  for (const auto& row : systemUsers()) expected.push_back(row);
  EXPECT_EQ(plain(users), expected);
}

TEST(UserMLocal, ListsEverythingInSeveralThreadsAtOnce) {
  const Rows users = systemUsers();
  const Rows groups = systemGroups();
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number)
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        const HOQUserMLocal own((HOQAccessProviderPtr()));
        std::vector<HOQUser> seenUsers;
        std::vector<HOQGroup> seenGroups;
        EXPECT_EQ(own.getUser(seenUsers, HOQUserNameID()), 0);
        EXPECT_EQ(own.getGroup(seenGroups, HOQGroupNameID()), 0);
        EXPECT_EQ(plain(seenUsers), users);
        EXPECT_EQ(plain(seenGroups), groups);
      }
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace HOQ
