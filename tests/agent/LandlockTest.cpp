#include "spawner/Landlock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>

#include "support/TempDir.h"

namespace HOQ::agent {
namespace {

using test::TempDir;

/// 0, or the error number of what a locked process tries; -1: it could not be locked.
int tried(const std::vector<std::string>& roots, bool readOnly, const std::function<int()>& what) {
  const pid_t child = ::fork();
  if (child == 0) {
    // Root needs no such promise, others do.
    const bool isReady = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    if (!isReady || !lockWrites(roots, readOnly).empty()) ::_exit(255);
    ::_exit(what() == 0 ? 0 : errno);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status) == 255 ? -1 : WEXITSTATUS(status);
}

int opened(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
  return fd < 0 ? -1 : ::close(fd);
}

class LandlockTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!hasLandlock()) GTEST_SKIP() << "this kernel has no Landlock, or an old one";
    for (const std::string& path : {in_, in_ + "/sub", out_, out_ + "/sub"})
      ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    for (const std::string& path : {in_ + "/f", out_ + "/f"})
      ASSERT_EQ(opened(path, O_WRONLY | O_CREAT), 0);
  }

  const TempDir dir_;
  const std::string in_ = dir_ / "in";
  const std::string out_ = dir_ / "out";
};

TEST_F(LandlockTest, ChangesStayWithinTheRoots) {
  struct Row {
    const char* name;
    std::function<int(const std::string& folder)> what;
  };
  const Row rows[] = {
      {"write", [](const std::string& in) { return opened(in + "/f", O_WRONLY); }},
      {"cut short", [](const std::string& in) { return ::truncate((in + "/f").c_str(), 0); }},
      {"make", [](const std::string& in) { return opened(in + "/new", O_WRONLY | O_CREAT); }},
      {"mkdir", [](const std::string& in) { return ::mkdir((in + "/d").c_str(), 0700); }},
      {"symlink", [](const std::string& in) { return ::symlink("x", (in + "/l").c_str()); }},
      {"mkfifo", [](const std::string& in) { return ::mkfifo((in + "/p").c_str(), 0600); }},
      {"rename",
       [](const std::string& in) {
         return ::rename((in + "/sub").c_str(), (in + "/other").c_str());
       }},
      {"unlink", [](const std::string& in) { return ::unlink((in + "/f").c_str()); }},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(tried({in_}, true, [&] { return row.what(in_); }), EACCES) << row.name;
    EXPECT_EQ(tried({in_}, false, [&] { return row.what(in_); }), 0) << row.name;
    EXPECT_EQ(tried({in_}, false, [&] { return row.what(out_); }), EACCES) << row.name;
  }
}

TEST_F(LandlockTest, FilesMoveBetweenFoldersOfARootAndNotOutOfIt) {
  const auto moveTo = [&](const std::string& place) {
    return tried({in_}, false, [&] { return ::rename((in_ + "/f").c_str(), place.c_str()); });
  };
  EXPECT_NE(moveTo(out_ + "/moved"), 0);
  EXPECT_EQ(moveTo(in_ + "/sub/moved"), 0);
}

TEST_F(LandlockTest, EverythingIsReadAndTheNullDeviceTakesWhatIsWritten) {
  EXPECT_EQ(tried({in_}, true, [&] { return opened(out_ + "/f", O_RDONLY); }), 0);
  EXPECT_EQ(tried({in_}, true, [] { return opened("/dev/null", O_WRONLY | O_TRUNC); }), 0);
}

TEST_F(LandlockTest, ARootThatIsMissingIsAnErrorThatNamesIt) {
  const std::string missing = dir_ / "missing";
  EXPECT_NE(lockWrites({missing}, false).find(missing), std::string::npos);
}

}  // namespace
}  // namespace HOQ::agent
