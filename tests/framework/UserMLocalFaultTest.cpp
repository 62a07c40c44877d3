// The user manager over databases that the test makes up: entries that need large buffers, and
// failures. The calls of the system library that it makes are defined here.
#include <grp.h>
#include <gtest/gtest.h>
#include <hoq/HOQUserMLocal.h>
#include <pwd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace {

// One answer of a database: an entry once the buffer has `bytes`, or an error number.
struct Answer {
  std::string name;
  unsigned id;
  std::size_t bytes;
  int error;
};

struct Script {
  std::vector<Answer> answers;
  std::size_t next = 0;
  int tooSmall = 0;  // answers of ERANGE
  int opened = 0;
  int closed = 0;
} script;

// Answers from the script; an entry that did not fit comes again, as the system has it.
template <class Entry>
int answer(char* Entry::*name, unsigned Entry::*id, Entry* entry, char* buffer, std::size_t size,
           Entry** found) {
  *found = nullptr;
  if (script.next == script.answers.size()) return ENOENT;
  const Answer& now = script.answers[script.next];
  if (size < now.bytes) {
    ++script.tooSmall;
    return ERANGE;
  }
  ++script.next;
  if (now.error != 0) return now.error;
  std::strcpy(buffer, now.name.c_str());
  entry->*name = buffer;
  entry->*id = now.id;
  *found = entry;
  return 0;
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) void setpwent() { ++script.opened; }
__attribute__((visibility("default"))) void endpwent() {
  ++script.closed;
  errno = EBADF;  // must not hide why the reading failed
}
__attribute__((visibility("default"))) int getpwent_r(passwd* entry, char* buffer, std::size_t size,
                                                      passwd** found) {
  return answer(&passwd::pw_name, &passwd::pw_uid, entry, buffer, size, found);
}
__attribute__((visibility("default"))) int getgrgid_r(gid_t, group* entry, char* buffer,
                                                      std::size_t size, group** found) {
  return answer(&group::gr_name, &group::gr_gid, entry, buffer, size, found);
}
}

namespace HOQ {
namespace {

constexpr std::size_t kMegabyte = 1024 * 1024;

class UserMLocalFault : public testing::Test {
 protected:
  void answers(std::vector<Answer> list) {
    script = Script();
    script.answers = std::move(list);
  }
  const HOQUserMLocal manager{HOQAccessProviderPtr()};
  std::vector<HOQUser> users{{"before", 1}};
  std::vector<HOQGroup> groups{{"before", 1}};
};

TEST_F(UserMLocalFault, GrowsItsBufferForLargeEntriesAndLosesNone) {
  answers({{"small", 2, 100, 0}, {"large", 3, kMegabyte, 0}, {"after", 4, 100, 0}});
  ASSERT_EQ(manager.getUser(users, HOQUserNameID()), 0);
  ASSERT_EQ(users.size(), 4u);
  EXPECT_EQ(users[1].name + users[2].name + users[3].name, "smalllargeafter");
  EXPECT_EQ(users[3].id, 4u);
  EXPECT_GT(script.tooSmall, 0);
  EXPECT_EQ(script.opened, 1);
  EXPECT_EQ(script.closed, 1);
}

TEST_F(UserMLocalFault, GrowsItsBufferForOneLargeGroup) {
  answers({{"large", 3, kMegabyte, 0}});
  ASSERT_EQ(manager.getGroup(groups, HOQGroupNameID{"", 3}), 0);
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[1].name, "large");
  EXPECT_GT(script.tooSmall, 0);
}

TEST_F(UserMLocalFault, GivesUpOnAnEntryWithoutBounds) {
  answers({{"small", 2, 100, 0}, {"endless", 3, 1024 * kMegabyte, 0}});
  errno = 0;
  EXPECT_EQ(manager.getUser(users, HOQUserNameID()), -1);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(users.size(), 1u);
  EXPECT_EQ(script.closed, 1);
}

TEST_F(UserMLocalFault, SaysWhyADatabaseCannotBeReadAndAppendsNothing) {
  answers({{"first", 2, 100, 0}, {"", 0, 0, EIO}, {"third", 4, 100, 0}});
  errno = 0;
  EXPECT_EQ(manager.getUser(users, HOQUserNameID()), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(users.size(), 1u);
  EXPECT_EQ(script.next, 2u);
  EXPECT_EQ(script.closed, 1);

  answers({{"", 0, 0, EMFILE}});
  errno = 0;
  EXPECT_EQ(manager.getGroup(groups, HOQGroupNameID{"", 3}), -1);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_EQ(groups.size(), 1u);
}

TEST_F(UserMLocalFault, TakesASourcesWordForNobodyAsNoFailure) {
  for (const int none : {ENOENT, ESRCH}) {
    answers({{"", 0, 0, none}});
    EXPECT_EQ(manager.getGroup(groups, HOQGroupNameID{"", 3}), 0);
    EXPECT_EQ(groups.size(), 1u);
    EXPECT_EQ(script.next, 1u);
  }
}

}  // namespace
}  // namespace HOQ
