// The Linux routine's calls on the path as an item, an open file and a directory. Owners are in
// Owners.cpp, information records in Information.cpp.
#include "routine/HOQFileRoutineLin.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include <hoq/HOQResultCodes.h>

#include "routine/FilterMatch.h"
#include "routine/OpenDirHandle.h"

namespace HOQ {
namespace {

constexpr unsigned kLinuxRoutine = 2;
constexpr int kDefaultMode = 0777;
constexpr unsigned long kLinkText = 4096;
constexpr std::size_t kOpenDirectories = 128;  // of one routine, before the outer ones are drained

static_assert(sizeof(off_t) == 8, "file sizes and offsets have 64 bits");

}  // namespace

HOQFileRoutineLin::HOQFileRoutineLin(const std::string& initialPath)
    : HOQFileRoutine(initialPath) {}

HOQFileRoutineLin::~HOQFileRoutineLin() { letGo(); }

void HOQFileRoutineLin::hold() {
  const int kept = errno;
  letGo();
  heldDirectory = ::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  heldPath = path;
  errno = kept;
}

void HOQFileRoutineLin::letGo() {
  if (heldDirectory >= 0) ::close(heldDirectory);
  heldDirectory = -1;
}

int HOQFileRoutineLin::creationMode() const {
  return securityAttributes ? securityAttributes->value : kDefaultMode;
}

/// Relative to the directory that is being read, or is held, where the path names an entry of it:
/// the system need not look the whole path up again for each. Only where the answer is the path's
/// own: through links, or for a path too long, the system may refuse what stands there.
HOQFileRoutineLin::Place HOQFileRoutineLin::place() const {
  if (followLinks || path.size() >= PATH_MAX) return {AT_FDCWD, path.c_str()};
  if (!openDirectories.empty()) {
    const OpenDirHandle& innermost = *openDirectories.back();
    if (const char* name = innermost.nameOf(path)) return {innermost.descriptor(), name};
  }
  if (holds()) {
    if (const char* name = OpenDirHandle::nameIn(heldPath, path)) return {heldDirectory, name};
  }
  return {AT_FDCWD, path.c_str()};
}

int HOQFileRoutineLin::chmod(int mode) {
  const Place at = place();
  const int result = ::fchmodat(at.directory, at.name, static_cast<mode_t>(mode), 0);
  if (result == 0 && path == madeFile.path) madeFile.mode = static_cast<mode_t>(mode);
  return result;
}

int HOQFileRoutineLin::link(const char* target, bool symbolic) {
  if (!symbolic) return ::link(target, path.c_str());
  const Place at = place();
  return ::symlinkat(target, at.directory, at.name);
}

int HOQFileRoutineLin::readlink(char* buf, unsigned long size) {
  char scratch[kLinkText];
  if (size == 0 || (!buf && size > kLinkText)) size = kLinkText;
  if (!buf) buf = scratch;
  const Place at = place();
  const ssize_t length = ::readlinkat(at.directory, at.name, buf, size - 1);
  if (length <= 0) return static_cast<int>(length);
  buf[length] = '\0';
  return static_cast<int>(length) + 1;
}

int HOQFileRoutineLin::remove() {  // remove(3) does the same, by the whole path
  madeFile.path.clear();
  const Place at = place();
  if (::unlinkat(at.directory, at.name, 0) == 0) return 0;
  return errno == EISDIR ? ::unlinkat(at.directory, at.name, AT_REMOVEDIR) : -1;
}

int HOQFileRoutineLin::rmdir() {
  const Place at = place();
  return ::unlinkat(at.directory, at.name, AT_REMOVEDIR);
}

int HOQFileRoutineLin::rmitem() {
  madeFile.path.clear();
  const Place at = place();
  return ::unlinkat(at.directory, at.name, 0);
}

int HOQFileRoutineLin::mkdir(HOQFileRoutine* from) {
  const Place at = place();
  const int result = ::mkdirat(at.directory, at.name, static_cast<mode_t>(creationMode()));
  const bool exists = errno == EEXIST;  // after a success as well: see the header
  if (result == 0 && !exists && from) return cpOptions(from);
  return exists ? kTargetExists : result;
}

int HOQFileRoutineLin::copy(HOQFileRoutine& dst) {
  switch (statBuffer.st_mode & S_IFMT) {
    case S_IFIFO:
    case S_IFCHR:
    case S_IFBLK:
    case S_IFSOCK:
      break;
    default:
      return 1;
  }
  if (getType() != dst.getType()) return 0;  // kept: skipped in silence between kinds of routines
  return ::mknod(dst.path.c_str(), statBuffer.st_mode, statBuffer.st_rdev);
}

int HOQFileRoutineLin::move(HOQFileRoutine& dst) {
  const int result = copy(dst);
  if (result == 0) return rmitem();
  if (result != 1) return result;
  const bool sameDevice = statBuffer.st_dev == dst.statBuffer.st_dev;
  if (getType() != dst.getType() || !sameDevice) return 1;
  return ::rename(path.c_str(), dst.path.c_str());
}

/// What the directory that is being read says of the entry in hand, where that is enough.
bool HOQFileRoutineLin::takeKindInHand() {
  if (!kindSuffices || followLinks || path.size() >= PATH_MAX || openDirectories.empty())
    return false;
  const mode_t kind = openDirectories.back()->kindInHand(path);
  if (kind == 0) return false;
  statBuffer = {};
  statBuffer.st_mode = kind;
  return true;
}

int HOQFileRoutineLin::stat() {
  if (takeKindInHand()) {
    kindOnly = true;
    return 0;
  }
  const Place at = place();
  struct stat fresh;
  const int flags = followLinks ? 0 : AT_SYMLINK_NOFOLLOW;
  const int result = ::fstatat(at.directory, at.name, &fresh, flags);
  if (result != 0) return result;
  kindOnly = false;
  statBuffer = fresh;
  if (isDir()) statBuffer.st_size = 0;
  return 0;
}

int HOQFileRoutineLin::open(int flags) {
  const Place at = place();
  fd = ::openat(at.directory, at.name, flags, static_cast<mode_t>(creationMode()));
  if (fd < 0) return -1;
  const bool exists = errno == EEXIST;  // errno of before the call: see the header
  const bool isNew = (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0;
  if (isNew && expectsOwners) noteMadeFile();
  return exists ? 1 : 0;
}

/// Its owner is looked at while that costs least. errno stays.
void HOQFileRoutineLin::noteMadeFile() {
  const int kept = errno;
  struct stat made;
  madeFile.path.clear();
  if (::fstat(fd, &made) == 0) {
    madeFile.path = path;
    madeFile.owner = {made.st_uid, made.st_gid};
    madeFile.mode = made.st_mode;
  }
  errno = kept;
}

int HOQFileRoutineLin::close() {
  const int closing = fd;
  fd = -1;
  return ::close(closing);
}

bool HOQFileRoutineLin::isOpened() { return fd >= 0; }

long HOQFileRoutineLin::read(char* buf, int len) {
  return ::read(fd, buf, static_cast<std::size_t>(len));
}

long HOQFileRoutineLin::write(const char* buf, int len) {
  return ::write(fd, buf, static_cast<std::size_t>(len));
}

int HOQFileRoutineLin::seek(long long offset) {
  if (!isOpened()) return -1;
  return ::lseek(fd, offset, SEEK_SET) == -1 ? -1 : 0;
}

int HOQFileRoutineLin::opendir(void*& handle) {
  if (openDirectories.size() >= kOpenDirectories) drainOutermost();
  auto directory = std::make_unique<OpenDirHandle>();
  for (Place at = place(); directory->open(at.directory, at.name, path) != 0; at = place()) {
    if ((errno != EMFILE && errno != ENFILE) || openDirectories.empty()) return -1;
    drainOutermost();
  }
  openDirectories.push_back(directory.get());
  handle = directory.release();
  return 0;
}

void HOQFileRoutineLin::drainOutermost() {
  openDirectories.front()->drain();
  openDirectories.pop_front();
}

const char* HOQFileRoutineLin::namedir(void* handle) {
  return static_cast<OpenDirHandle*>(handle)->name();
}

int HOQFileRoutineLin::readdir(void* handle) { return static_cast<OpenDirHandle*>(handle)->step(); }

int HOQFileRoutineLin::closedir(void* handle) {
  auto* directory = static_cast<OpenDirHandle*>(handle);
  const auto found = std::find(openDirectories.rbegin(), openDirectories.rend(), directory);
  if (found != openDirectories.rend()) openDirectories.erase(std::next(found).base());
  delete directory;
  return 0;
}

void HOQFileRoutineLin::setFilters(const std::vector<HOQFileFilter>* list) {
  ugFilterFlags = 0;
  if (list)
    for (const HOQFileFilter& filter : *list) FilterConvert()(&ugFilterFlags, filter);
  HOQFileRoutine::setFilters(list);
}

int HOQFileRoutineLin::getLastError(HOQRequestErrorData& err) {
  err.code = errno;  // first: what follows may change it
  err.message = std::strerror(err.code);
  return err.code;
}

unsigned HOQFileRoutineLin::getType() { return kLinuxRoutine; }

}  // namespace HOQ
