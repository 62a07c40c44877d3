#include "engine/FilePath.h"

#include <fnmatch.h>

#include <cerrno>
#include <cstring>

#include <hoq/HOQAssert.h>
#include <hoq/canonizePath.h>

#include "engine/FileOperate.h"
#include "engine/PathHelpers.h"

namespace HOQ {
namespace {

constexpr char kWildcardCharacters[] = "*[]?";

/// A directory open for reading, closed in every case.
class OpenDirectory {
 public:
  explicit OpenDirectory(HOQFileRoutine& routine) : routine_(routine) {}
  ~OpenDirectory() {
    if (handle_) routine_.closedir(handle_);
  }
  OpenDirectory(const OpenDirectory&) = delete;
  OpenDirectory& operator=(const OpenDirectory&) = delete;

  int open() { return routine_.opendir(handle_); }

  /// The next entry's name; null at the end, or where reading fails.
  const char* next() {
    return routine_.readdir(handle_) == 0 ? routine_.namedir(handle_) : nullptr;
  }

 private:
  HOQFileRoutine& routine_;
  void* handle_ = nullptr;
};

/// `prefix` with a piece of a pattern behind it. What is left of an absolute pattern is the root.
std::string joined(const char* prefix, const char* begin, const char* end) {
  std::string path = prefix;
  HOQFileRoutine::makePath(path, begin, end);
  if (path.empty() && *begin == '/') path = "/";
  return path;
}

}  // namespace

int FilePath::isDots(const char* name) const {
  if (name[0] != '.') return 0;
  if (name[1] == '\0') return 1;
  return name[1] == '.' && name[2] == '\0' ? 2 : 0;
}

int FilePath::addName(const char* name) {
  const std::size_t length = routine->path.size();
  if (length != 0) routine->path += '/';
  routine->path += name;
  return static_cast<int>(length);
}

void FilePath::retName(int length) {
  const auto wanted = static_cast<std::size_t>(length);
  if (routine->path.size() > wanted) routine->path.resize(wanted);
}

int FilePath::addItem(const char* name) {
  HOQ_ASSERT(name != nullptr);
  const int length = *name ? addName(name) : static_cast<int>(routine->path.size());
  int result = examine(name);
  if (result == 0) result = owner->operate(name);
  if (result == FileOperate::kDescend) {
    const bool closed = routine->isLink() && !routine->followLinks;
    if (!closed && routine->isDir()) result = walkEntries();
  } else if (result == FileOperate::kDone) {
    result = 0;
  }
  retName(length);
  return result;
}

int FilePath::examine(const char* name) {
  if (owner->error.handler && !owner->error.handler->itemReached()) return -1;
  statError = 0;
  if (isDots(name)) return 0;
  const int result = routine->stat();
  if (result == 0) return 0;
  statError = errno;
  return reportStat ? owner->setPathLastError(result, "Cannot get information") : 0;
}

int FilePath::examineWhole() {
  if (!routine->kindOnly) return 0;
  const int kept = errno;
  routine->kindSuffices = false;
  const int result = routine->stat();
  if (result != 0) {
    statError = errno;
    return owner->setPathLastError(result, "Cannot get information");
  }
  routine->kindSuffices = true;
  errno = kept;
  return 0;
}

int FilePath::walkEntries() {
  OpenDirectory directory(*routine);
  if (directory.open() != 0) return owner->setPathLastError(-1, "Cannot read directory");
  int depth = 0;
  int result = owner->beforeDir(depth);
  while (result == 0) {
    const char* name = directory.next();
    if (!name) break;
    if (owner->filtrate(name) == 0) result = addItem(name);
  }
  return owner->afterDir(depth, result);
}

int FilePath::addWildItem(const char* prefix, const char* pattern) {
  if (!pattern || !*pattern) return addItem(prefix);
  const std::string before = routine->path;  // canonizing may shorten what stands here
  const char* wildcard = std::strpbrk(pattern, kWildcardCharacters);
  const int result = wildcard ? walkMatches(prefix, pattern, wildcard) : walkTail(prefix, pattern);
  routine->path = before;
  return result;
}

int FilePath::walkTail(const char* prefix, const char* tail) {
  addName(joined(prefix, tail, nullptr));
  if (canonizePath(routine->path, '/') != 0)
    return owner->setPathError(-1, "Cannot cannonize path");
  (void)addItem("");  // kept: what fails below a tail is reported and stops nothing
  return 0;
}

int FilePath::walkMatches(const char* prefix, const char* pattern, const char* wildcard) {
  const char* component = pattern;
  if (const char* slash = _ftstrrchr(pattern, wildcard, '/')) {
    addName(joined(prefix, pattern, slash));
    if (canonizePath(routine->path, '/') != 0)
      return owner->setPathError(-1, "Cannot cannonize path");
    component = slash + 1;
  } else {
    addName(prefix);
  }
  const char* end = std::strchr(wildcard, '/');
  return end ? scan(std::string(component, end), end + 1) : scan(component, nullptr);
}

int FilePath::scan(const std::string& component, const char* rest) {
  OpenDirectory directory(*routine);
  const bool here = routine->path.empty();  // a working directory that is the process's own
  if (here) routine->path = ".";
  if (routine->stat() != 0 || !routine->isDir()) return 0;
  if (directory.open() != 0) return owner->setPathLastError(-1, "Cannot read directory");
  if (here) routine->path.clear();

  int depth = 0;
  scanning = true;
  int result = owner->beforeDir(depth);
  scanning = false;
  while (result == 0) {
    const char* name = directory.next();
    if (!name) break;
    if (isDots(name) || fnmatch(component.c_str(), name, FNM_NOESCAPE) != 0) continue;
    if (owner->filtrate(name) == 0) result = addWildItem(name, rest);
  }
  scanning = true;
  result = owner->afterDir(depth, result);
  scanning = false;
  return result;
}

}  // namespace HOQ
