#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <hoq/HOQUserCredentials.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "routine/ContentType.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/Isolation.h"
#include "support/LoggingRoutine.h"
#include "support/Trees.h"

namespace HOQ::test {
namespace {

constexpr char kNoContentType[] = "application/x-not-regular-file";

class LinuxRoutine : public testing::Test {
 protected:
  HOQFileRoutineLin at(const std::string& name) { return HOQFileRoutineLin(dir / name); }

  TempDir dir;
};

TEST_F(LinuxRoutine, ADescriptorOutlivesItsRoutine) {
  trees::make(dir.path(), "f");
  const int expected = dup(STDERR_FILENO);  // the number that open will get
  ASSERT_GE(expected, 0);
  close(expected);
  {
    HOQFileRoutineLin routine = at("f");
    errno = 0;
    ASSERT_EQ(routine.open(O_RDONLY), 0);
  }
  EXPECT_EQ(close(expected), 0);
}

TEST_F(LinuxRoutine, EveryEntryOfADirectoryOfOddNamesComesOnce) {
  std::vector<std::string> names = trees::everyByteNames(dir.path());
  HOQFileRoutineLin routine(dir.path());
  void* handle = nullptr;
  ASSERT_EQ(routine.opendir(handle), 0);
  std::vector<std::string> met;
  while (routine.readdir(handle) == 0) met.push_back(routine.namedir(handle));
  routine.closedir(handle);
  met.erase(met.begin(), met.begin() + 2);
  std::sort(met.begin(), met.end());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(met, names);
}

TEST_F(LinuxRoutine, TheEntryInHandIsAssertedToBeThere) {
  HOQFileRoutineLin routine(dir.path());
  void* handle = nullptr;
  ASSERT_EQ(routine.opendir(handle), 0);
  for (int step = 0; step < 3; ++step) (void)routine.readdir(handle);  // to the end
  EXPECT_DEATH((void)routine.namedir(handle), "");
  routine.closedir(handle);
}

// A walk holds one directory for each level. However few descriptors there are, none of them
// loses or repeats an entry.
TEST_F(LinuxRoutine, ManyOpenDirectoriesGetByWithFewDescriptors) {
  constexpr int kLevels = 60;
  trees::deepChain(dir.path(), kLevels);
  std::vector<void*> handles;
  HOQFileRoutineLin routine(dir.path());
  const DescriptorLimit limit(24);
  for (int level = 0; level < kLevels; ++level) {
    void* handle = nullptr;
    ASSERT_EQ(routine.opendir(handle), 0) << level;
    for (int step = 0; step < 3; ++step) ASSERT_EQ(routine.readdir(handle), 0);
    handles.push_back(handle);
    routine.path += "/d";
  }
  for (auto handle = handles.rbegin(); handle != handles.rend(); ++handle) {
    std::string names = routine.namedir(*handle);
    while (routine.readdir(*handle) == 0) names += routine.namedir(*handle);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, *handle == handles.front() ? "d" : "df");
    routine.closedir(*handle);
  }
}

TEST_F(LinuxRoutine, AnEntryInHandIsOfTheKindThatItsDirectoryTold) {
  trees::make(dir.path(), "d/ f=text l->f p| s~");
  const std::map<std::string, mode_t> kinds{
      {"d", S_IFDIR}, {"f", S_IFREG}, {"l", S_IFLNK}, {"p", S_IFIFO}, {"s", S_IFSOCK}};
  HOQFileRoutineLin routine(dir.path());
  routine.kindSuffices = true;
  void* handle = nullptr;
  ASSERT_EQ(routine.opendir(handle), 0);
  while (routine.readdir(handle) == 0) {
    const std::string name = routine.namedir(handle);
    if (name[0] == '.') continue;
    SCOPED_TRACE(name);
    routine.path = dir / name;
    ASSERT_EQ(routine.stat(), 0);
    EXPECT_EQ(routine.statBuffer.st_mode & S_IFMT, kinds.at(name));
    const bool isDir = name == "d";
    EXPECT_TRUE(isDir ? !routine.kindOnly : routine.kindOnly)
        << "or the place's file system does not tell kinds";
    EXPECT_EQ(routine.statBuffer.st_ino != 0, isDir);
    EXPECT_EQ(routine.statBuffer.st_nlink != 0, isDir);

    routine.kindSuffices = false;
    ASSERT_EQ(routine.stat(), 0);
    EXPECT_FALSE(routine.kindOnly);
    EXPECT_NE(routine.statBuffer.st_ino, 0U);
    routine.kindSuffices = true;
  }
  routine.closedir(handle);
}

TEST_F(LinuxRoutine, WhatIsNoEntryInHandIsExamined) {
  trees::make(dir.path(), "d/f d/g e/f");
  HOQFileRoutineLin routine(dir / "d");
  void* handle = nullptr;
  ASSERT_EQ(routine.opendir(handle), 0);
  routine.kindSuffices = true;
  const auto examined = [&](const std::string& item) {
    routine.path = dir / item;
    return routine.stat() == 0 && !routine.kindOnly && routine.statBuffer.st_ino != 0;
  };
  EXPECT_TRUE(examined("d/f")) << "before the first entry";
  while (routine.readdir(handle) == 0) {
    const std::string name = routine.namedir(handle);
    if (name[0] == '.') continue;
    EXPECT_TRUE(examined(name == "f" ? "d/g" : "d/f")) << "another one";
    EXPECT_TRUE(examined("e/f")) << "of another directory";
    routine.followLinks = true;
    EXPECT_TRUE(examined("d/" + name)) << "perhaps through a link";
    routine.followLinks = false;
    routine.path = dir / "d/no";
    EXPECT_EQ(routine.stat(), -1);
    EXPECT_EQ(errno, ENOENT);
  }
  EXPECT_TRUE(examined("d/f")) << "behind the last entry";
  routine.closedir(handle);
  EXPECT_TRUE(examined("d/f")) << "with no directory open";
}

TEST_F(LinuxRoutine, CopyingModeAndOwnerExaminesTheSourceOnce) {
  trees::make(dir.path(), "f g");
  CallLog log;
  LoggingRoutine from(dir / "f", log);
  EXPECT_EQ(at("g").cpOptions(&from), 0);
  EXPECT_EQ(log.count(Call::Stat), 1);
  void* owner = nullptr;
  EXPECT_EQ(from.getown(owner), 0);
  from.freeown(owner);
  EXPECT_EQ(log.count(Call::Stat), 2) << "by itself it examines";
}

// Each file is gone when its owner is to be set, so that the system would refuse.
TEST_F(LinuxRoutine, TheOwnerThatANewFileHasAlreadyIsNotSet) {
  const struct {
    const char* what;
    int flags;
    int mode;
    bool isTheirs;
    void (*deed)(HOQFileRoutineLin& routine);
    int expected;
  } rows[] = {
      {"a new file", O_CREAT | O_EXCL, 0640, true, nullptr, 0},
      {"one that may have been there", O_CREAT, 0640, true, nullptr, -1},
      {"set-id bits, which the system takes away", O_CREAT | O_EXCL, 04750, true, nullptr, -1},
      {"another owner", O_CREAT | O_EXCL, 0640, false, nullptr, -1},
      {"a second time", O_CREAT | O_EXCL, 0640, true,
       [](HOQFileRoutineLin& routine) {
         void* same = nullptr;
         ASSERT_EQ(routine.convown(HOQUserCredentials::kNone, HOQUserCredentials::kNone, same), 0);
         EXPECT_EQ(routine.chown(same), 0);
         routine.freeown(same);
       },
       -1},
      {"after it was removed", O_CREAT | O_EXCL, 0640, true,
       [](HOQFileRoutineLin& routine) { (void)routine.rmitem(); }, -1},
      {"another path", O_CREAT | O_EXCL, 0640, true,
       [](HOQFileRoutineLin& routine) { routine.path += "x"; }, -1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    HOQFileRoutineLin routine = at("f");
    routine.expectOwners();
    errno = 0;
    ASSERT_EQ(routine.open(O_WRONLY | row.flags), 0);
    struct stat made;
    ASSERT_EQ(::fstat(routine.descriptor(), &made), 0);
    EXPECT_EQ(routine.close(), 0);
    EXPECT_EQ(routine.chmod(row.mode), 0);
    void* owner = nullptr;
    ASSERT_EQ(routine.convown(row.isTheirs ? made.st_uid : made.st_uid + 1, made.st_gid, owner), 0);
    ASSERT_EQ(unlink((dir / "f").c_str()), 0);
    if (row.deed) row.deed(routine);
    EXPECT_EQ(routine.chown(owner), row.expected);
    routine.freeown(owner);
  }
}

TEST_F(LinuxRoutine, NamesOfAHeldDirectoryAreLookedUpInItUntilItIsLetGo) {
  trees::make(dir.path(), "d/f=old d/h/");
  HOQFileRoutineLin routine = at("d");
  errno = ENOTTY;
  routine.hold();
  EXPECT_EQ(errno, ENOTTY);
  ASSERT_TRUE(routine.holds());
  ASSERT_EQ(rename((dir / "d").c_str(), (dir / "e").c_str()), 0);
  trees::make(dir.path(), "d/f=the-new-one d/g/f");

  routine.path = dir / "d/f";
  ASSERT_EQ(routine.stat(), 0);
  EXPECT_EQ(routine.statBuffer.st_size, 3);
  routine.path = dir / "d/g/f";  // not one of its entries
  EXPECT_EQ(routine.stat(), 0);
  routine.path = dir / "d/n";
  errno = 0;
  EXPECT_EQ(routine.mkdir(nullptr), 0);
  routine.path = dir / "d/l";
  EXPECT_EQ(routine.link("to", true), 0);
  routine.path = dir / "d/f";
  EXPECT_EQ(routine.remove(), 0);
  routine.path = dir / "d/h";
  EXPECT_EQ(routine.remove(), 0);
  EXPECT_EQ(trees::snapshot(dir.path()), "d/f=the-new-one d/g/f e/l->to e/n/");

  routine.letGo();
  EXPECT_FALSE(routine.holds());
  routine.path = dir / "d/f";
  ASSERT_EQ(routine.stat(), 0);
  EXPECT_EQ(routine.statBuffer.st_size, 11);
}

TEST_F(LinuxRoutine, WhatIsNoDirectoryIsNotHeld) {
  trees::make(dir.path(), "f=1");
  for (const char* name : {"f", "missing"}) {
    HOQFileRoutineLin routine = at(name);
    errno = 0;
    routine.hold();
    EXPECT_EQ(errno, 0);
    EXPECT_FALSE(routine.holds());
    routine.path = dir / "f";
    EXPECT_EQ(routine.stat(), 0);
  }
}

TEST_F(LinuxRoutine, AHeldDirectoryIsGivenBackWithItsRoutine) {
  const int expected = dup(STDERR_FILENO);
  ASSERT_GE(expected, 0);
  close(expected);
  {
    HOQFileRoutineLin routine(dir.path());
    routine.hold();
    routine.hold();
    EXPECT_NE(fcntl(expected, F_GETFD), -1);
  }
  EXPECT_EQ(fcntl(expected, F_GETFD), -1);
}

TEST_F(LinuxRoutine, ANameWithoutAUserIsUnknownTwice) {
  HOQ_NEEDS_ROOT("only it gives a file to an id without a name");
  trees::make(dir.path(), "f");
  ASSERT_EQ(::chown((dir / "f").c_str(), 4'000'000'001U, 0), 0);
  HOQFileRoutineLin routine = at("f");
  ASSERT_EQ(routine.stat(), 0);
  HOQFileType info;
  EXPECT_EQ(routine.fill(info, "f", false, 0x4 | 0x10), 0);
  EXPECT_EQ(info.user, "unknown");
  EXPECT_EQ(info.group, "unknown");
  EXPECT_EQ(info.valid, 0x14U);
}

TEST_F(LinuxRoutine, OwnersWithoutANamePassOwnerFilters) {
  HOQ_NEEDS_ROOT("only it gives a file to an id without a name");
  trees::make(dir.path(), "f");
  ASSERT_EQ(::chown((dir / "f").c_str(), 4'000'000'001U, 4'000'000'002U), 0);
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kUserPattern | HOQFileFilter::kGroupPattern;
  filter.userPattern = filter.groupPattern = "unknown";
  const std::vector<HOQFileFilter> filters = {filter};
  HOQFileRoutineLin routine = at("f");
  routine.setFilters(&filters);
  ASSERT_EQ(routine.stat(), 0);
  HOQFileType info;
  EXPECT_EQ(routine.fill(info, "f", false, 0x14), 0);
}

TEST_F(LinuxRoutine, TheTablesAreTheSystemsUsersAndGroups) {
  std::set<UserId> users;
  std::set<UserId> groups;
  ASSERT_EQ(read_pw(users), 0);
  ASSERT_EQ(read_gr(groups), 0);
  const auto root = users.find(UserId("root"));
  ASSERT_NE(root, users.end());
  EXPECT_EQ(root->id, 0U);
  ASSERT_NE(groups.find(UserId("root")), groups.end());
}

TEST_F(LinuxRoutine, IdsOfNamesAreFoundEachOnItsOwn) {
  HOQFileRoutineLin routine = at("");
  Gids ids;
  ids.uid = 11;
  ids.gid = 12;
  EXPECT_EQ(routine.convownLin(nullptr, nullptr, ids), 0);
  EXPECT_EQ(ids.uid, 11U);
  EXPECT_EQ(ids.gid, 12U);
  EXPECT_EQ(routine.convownLin("root", nullptr, ids), 0);
  EXPECT_EQ(ids.uid, 0U);
  EXPECT_EQ(ids.gid, 12U);
  EXPECT_EQ(routine.convownLin(nullptr, "no-such-name-anywhere", ids), -1);
}

class ContentType : public LinuxRoutine {
 protected:
  std::string of(const std::string& name, int size = 4097) {
    std::vector<char> text(static_cast<std::size_t>(size), '\0');
    EXPECT_EQ(getContentType((dir / name).c_str(), text.data(), size), text.data());
    return text.data();
  }

  /// A command "file" of our own, the only one on the search path.
  void putCommand(const std::string& script) {
    trees::make(dir.path(), "bin/file%755=#!/bin/sh");
    const int fd = ::open((dir / "bin/file").c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    const std::string text = "#!/bin/sh\n" + script + "\n";
    ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ASSERT_EQ(close(fd), 0);
  }
};

TEST_F(ContentType, IsWhatTheCommandSaysInItsFirstLine) {
  putCommand("echo \"first; charset=$# $1 $LANG $LC_ALL\"; echo second");
  const EnvironmentGuard path("PATH", dir / "bin");
  EXPECT_EQ(of("f"), "first; charset=2 -ib en_US.utf8 en_US.utf8");
}

TEST_F(ContentType, HandsThePathAsItIsToNoShell) {
  putCommand("printf '%s\\n' \"$2\"");
  const EnvironmentGuard path("PATH", dir / "bin");
  EXPECT_EQ(of("a b;$(x)'\"*"), dir / "a b;$(x)'\"*");
}

TEST_F(ContentType, IsCutToItsBuffer) {
  putCommand("echo 0123456789");
  const EnvironmentGuard path("PATH", dir / "bin");
  EXPECT_EQ(of("f", 5), "0123");
}

TEST_F(ContentType, TheExitStatusIsNotLookedAt) {
  putCommand("echo text; exit 3");
  const EnvironmentGuard path("PATH", dir / "bin");
  EXPECT_EQ(of("f"), "text");
}

TEST_F(ContentType, WithoutALineTheUsualTextStays) {
  putCommand("exit 0");
  const EnvironmentGuard path("PATH", dir / "bin");
  EXPECT_EQ(of("f"), kNoContentType);
}

TEST_F(ContentType, WithoutTheCommandTheUsualTextIsTheAnswer) {
  trees::make(dir.path(), "f=text nothing-in-it/");
  const EnvironmentGuard path("PATH", dir / "nothing-in-it");
  EXPECT_EQ(of("f"), kNoContentType);
  HOQFileRoutineLin routine = at("f");
  ASSERT_EQ(routine.stat(), 0);
  HOQFileType info;
  EXPECT_EQ(routine.fill(info, "f", false, 0x800), 0);
  EXPECT_EQ(info.contentType, kNoContentType);
  EXPECT_EQ(info.valid, 0x800U);
}

TEST_F(ContentType, TheRealCommandKnowsText) {
  if (access("/usr/bin/file", X_OK) != 0) GTEST_SKIP() << "the command \"file\" is not installed";
  trees::make(dir.path(), "f=plainwords");
  EXPECT_EQ(of("f"), "text/plain; charset=us-ascii");
}

}  // namespace
}  // namespace HOQ::test
