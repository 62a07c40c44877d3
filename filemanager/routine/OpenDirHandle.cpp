#include "routine/OpenDirHandle.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <hoq/HOQAssert.h>

namespace HOQ {
namespace {

bool isDots(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

OpenDirHandle::~OpenDirHandle() {
  if (dir) ::closedir(dir);
}

int OpenDirHandle::open(int parent, const char* name, const std::string& directory) {
  const int fd = ::openat(parent, name, O_RDONLY | O_NONBLOCK | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return -1;
  dir = ::fdopendir(fd);
  if (!dir) {
    const int cause = errno;
    ::close(fd);
    errno = cause;
    return -1;
  }
  path = directory;
  return 0;
}

const char* OpenDirHandle::nameIn(const std::string& directory, const std::string& item) {
  const std::size_t length = directory.size();
  if (item.size() < length + 2 || item[length] != '/' || item.compare(0, length, directory) != 0)
    return nullptr;
  const char* name = item.c_str() + length + 1;
  return std::strchr(name, '/') ? nullptr : name;
}

mode_t OpenDirHandle::kindInHand(const std::string& item) const {
  if (!dir || givesDots() || !entry) return 0;
  const char* name = nameOf(item);
  if (!name || std::strcmp(name, entry->d_name) != 0) return 0;
  return entry->d_type == DT_DIR ? 0 : DTTOIF(entry->d_type);  // DT_UNKNOWN: 0
}

const char* OpenDirHandle::nextReal() {
  if (dir) {
    do {
      entry = ::readdir(dir);
    } while (entry && isDots(entry->d_name));
    return entry ? entry->d_name : nullptr;
  }
  if (nextDrained >= drained.size()) return nullptr;
  const char* name = drained.data() + nextDrained;
  nextDrained += std::strlen(name) + 1;
  return name;
}

int OpenDirHandle::step() {
  if (givesDots()) {
    dots[std::strlen(dots)] = '.';  // "", ".", "..": the third call fills the last byte
    if (givesDots()) return 0;
  }
  current = nextReal();
  return current ? 0 : -1;
}

const char* OpenDirHandle::name() const {
  if (givesDots()) return dots;
  HOQ_ASSERT(current != nullptr);
  return current;
}

void OpenDirHandle::drain() {
  if (!dir) return;
  // The name in hand goes first: the walk below it still reads it.
  std::string names;
  const bool inHand = current != nullptr;
  if (inHand) names.append(current, std::strlen(current) + 1);
  while (const char* name = nextReal()) names.append(name, std::strlen(name) + 1);
  drained = std::move(names);
  ::closedir(dir);
  dir = nullptr;
  entry = nullptr;
  nextDrained = 0;
  if (inHand) {
    current = drained.data();
    nextDrained = std::strlen(current) + 1;
  }
}

}  // namespace HOQ
