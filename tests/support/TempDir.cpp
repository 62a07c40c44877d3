#include "support/TempDir.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace HOQ::test {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

std::vector<std::string> namesIn(int directory) {
  const int own = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (own < 0) fail("open a directory to empty it");
  DIR* stream = fdopendir(own);
  if (stream == nullptr) {
    const int error = errno;
    close(own);
    errno = error;
    fail("read a directory to empty it");
  }
  std::vector<std::string> names;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(stream);
  return names;
}

/// Removes an item of `top`/`name`'s parent `directory`; a directory is moved up to `top` instead,
/// so that depth costs neither stack nor descriptors.
void removeOrLift(int top, int directory, const std::string& name, unsigned& serial) {
  if (unlinkat(directory, name.c_str(), 0) == 0) return;
  if (unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0) return;
  if (errno != ENOTEMPTY && errno != EEXIST && errno != EACCES) fail("remove " + name);
  (void)fchmodat(directory, name.c_str(), 0700, 0);  // a failure shows in the rename
  std::string lifted;
  do {
    lifted = "lifted-" + std::to_string(serial++);
  } while (faccessat(top, lifted.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0);
  if (renameat(directory, name.c_str(), top, lifted.c_str()) != 0) fail("move up " + name);
}

void emptyOne(int top, const std::string& name, unsigned& serial) {
  if (unlinkat(top, name.c_str(), 0) == 0) return;
  if (unlinkat(top, name.c_str(), AT_REMOVEDIR) == 0) return;
  if (fchmodat(top, name.c_str(), 0700, 0) != 0) fail("chmod " + name);
  const int directory = openat(top, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (directory < 0) fail("open " + name);
  for (const std::string& entry : namesIn(directory)) removeOrLift(top, directory, entry, serial);
  close(directory);
  if (unlinkat(top, name.c_str(), AT_REMOVEDIR) != 0) fail("remove " + name);
}

}  // namespace

void removeContents(const std::string& directory) {
  if (chmod(directory.c_str(), 0700) != 0) fail("chmod " + directory);
  const int top = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (top < 0) fail("open " + directory);
  unsigned serial = 0;
  for (std::vector<std::string> names = namesIn(top); !names.empty(); names = namesIn(top))
    for (const std::string& name : names) emptyOne(top, name, serial);
  close(top);
}

TempDir::TempDir(Place place) {
  constexpr char kInMemory[] = "/dev/shm";
  const bool inMemory = place == kMemory && access(kInMemory, W_OK | X_OK) == 0;
  std::string made = (inMemory ? kInMemory : testing::TempDir()) + "/hoq-XXXXXX";
  if (mkdtemp(made.data()) == nullptr) fail("make " + made);
  char canonical[PATH_MAX];
  if (realpath(made.c_str(), canonical) == nullptr) fail("resolve " + made);
  path_ = canonical;
}

TempDir::~TempDir() {
  try {
    removeContents(path_);
    if (rmdir(path_.c_str()) != 0) fail("remove " + path_);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "A temporary directory is left behind: %s\n", problem.what());
  }
}

}  // namespace HOQ::test
