#include "contents/LocalSide.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ExitStatus.h"
#include "PathText.h"

namespace HOQ::cli {
namespace {

constexpr std::uint32_t kOwnerWorks = 0700;
constexpr std::uint32_t kPermissions = 01777;  // no set-id bits: owners are not kept

std::string lineOf(const std::string& path, const char* what, int cause) {
  return "\"" + path + "\", " + what + ": " + std::strerror(cause) + "[" + std::to_string(cause) +
         "]";
}

[[noreturn]] void fail(const std::string& path, const char* what, int cause) {
  throw SideError(lineOf(path, what, cause));
}

/// The umask can only be read by setting it: once, by the first side, before anything is made.
std::uint32_t currentUmask() {
  static const mode_t mask = [] {
    const mode_t found = ::umask(077);
    ::umask(found);
    return found;
  }();
  return mask;
}

Attributes attributesOf(const struct stat& info) {
  constexpr unsigned kKindShift = 12;
  constexpr std::int64_t kBillion = 1'000'000'000;
  constexpr std::uint64_t kMixing = 31;
  Attributes attributes;
  attributes.kind = (info.st_mode & S_IFMT) >> kKindShift;
  attributes.size = S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0;
  attributes.mode = info.st_mode & kPermissions;
  attributes.mtime = info.st_mtim.tv_sec;
  // Another time, or another file of that name.
  const auto moment =
      static_cast<std::uint64_t>(info.st_mtim.tv_sec * kBillion + info.st_mtim.tv_nsec);
  attributes.stamp = moment * kMixing + info.st_ino;
  return attributes;
}

/// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (descriptor_ >= 0) (void)::close(descriptor_);  // what counted was synced before
  }
  int get() const { return descriptor_; }

 private:
  const int descriptor_;
};

struct CloseDirectory {
  void operator()(DIR* directory) const { (void)::closedir(directory); }  // it was only read
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

bool isStream(const std::string& path) { return path == kStream; }

/// 0, or why a file cannot be opened to read. Opening a FIFO would wait for somebody to write.
int openToRead(const std::string& path, int& descriptor) {
  descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return errno;
  struct stat info;
  int cause = ::fstat(descriptor, &info) == 0 ? 0 : errno;
  if (cause == 0 && !S_ISREG(info.st_mode)) cause = S_ISDIR(info.st_mode) ? EISDIR : ENXIO;
  return cause;
}

int openToWrite(const WritePiece& piece, int& descriptor) {
  int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  const bool whole = piece.offset == 0;
  if (whole && !piece.replace) flags |= O_EXCL;
  descriptor = ::open(piece.path.c_str(), flags, static_cast<mode_t>(piece.mode));
  if (descriptor < 0) return errno;
  struct stat info;
  if (::fstat(descriptor, &info) != 0) return errno;
  if (!S_ISREG(info.st_mode)) return ENXIO;  // before it is emptied
  return whole && info.st_size != 0 && ::ftruncate(descriptor, 0) != 0 ? errno : 0;
}

int writeAll(int descriptor, const WritePiece& piece) {
  const bool stream = isStream(piece.path);
  for (std::size_t done = 0; done < piece.size;) {
    const ssize_t written = stream ? ::write(descriptor, piece.data + done, piece.size - done)
                                   : ::pwrite(descriptor, piece.data + done, piece.size - done,
                                              static_cast<off_t>(piece.offset + done));
    if (written < 0 && errno == EINTR && !stream) continue;
    if (written < 0) return errno;
    done += static_cast<std::size_t>(written);
  }
  return 0;
}

/// Brings what is open to the disk.
void sync(const std::string& path, int (*how)(int)) {
  const Descriptor item(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (item.get() < 0 || how(item.get()) != 0) fail(path, "Cannot write to the disk", errno);
}

void removeTree(const std::string& path) {
  const auto names = [&] {
    std::vector<std::string> found;
    const Directory directory(::opendir(path.c_str()));
    if (!directory) fail(path, "Cannot read directory", errno);
    while (const dirent* entry = ::readdir(directory.get()))
      if (isEntryName(entry->d_name)) found.emplace_back(entry->d_name);
    return found;
  };
  (void)::chmod(path.c_str(), kOwnerWorks);  // one that does not let us is told of below
  for (const std::string& name : names()) {
    const std::string below = join(path, name);
    if (::unlink(below.c_str()) == 0) continue;
    const int cause = errno;
    struct stat info;
    if (::lstat(below.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
      fail(below, "Cannot remove item", cause);
    removeTree(below);
  }
  if (::rmdir(path.c_str()) != 0) fail(path, "Cannot remove directory", errno);
}

}  // namespace

LocalSide::LocalSide(const Interruption& interruption, bool followLinks)
    : interruption_(interruption), followLinks_(followLinks), umask_(currentUmask()) {}

LocalSide::~LocalSide() {
  release(reading_);
  releaseWriting();
}

void LocalSide::releaseWriting() {
  behind_.forget();
  release(writing_);
}

void LocalSide::release(Open& file) {
  if (file.descriptor >= 0) (void)::close(file.descriptor);  // given up, or read to its end
  file = Open();
}

Entries LocalSide::list(const std::string& path) {
  const Directory directory(::opendir(path.c_str()));
  if (!directory) fail(path, "Cannot read directory", errno);
  Entries entries;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(directory.get());
    if (entry == nullptr) break;
    if (!isEntryName(entry->d_name)) continue;
    struct stat info;
    const int flags = followLinks_ ? 0 : AT_SYMLINK_NOFOLLOW;
    if (::fstatat(::dirfd(directory.get()), entry->d_name, &info, flags) == 0)
      entries.found.push_back({entry->d_name, attributesOf(info)});
    else
      entries.errors.push_back(lineOf(join(path, entry->d_name), "Cannot get information", errno));
  }
  if (errno != 0) fail(path, "Cannot read directory", errno);
  return entries;
}

std::map<std::string, Attributes> LocalSide::examine(const std::string& directory,
                                                     const std::vector<std::string>& names,
                                                     bool follow) {
  std::map<std::string, Attributes> found;
  for (const std::string& name : names) {
    struct stat info;
    const std::string path = join(directory, name);
    if (::fstatat(AT_FDCWD, path.c_str(), &info, follow ? 0 : AT_SYMLINK_NOFOLLOW) == 0)
      found.emplace(name, attributesOf(info));
    else if (errno != ENOENT && errno != ENOTDIR)
      fail(path, "Cannot get information", errno);
  }
  return found;
}

void LocalSide::read(std::vector<ReadPiece>& pieces) {
  for (ReadPiece& piece : pieces) {
    interruption_.check();
    readPiece(piece);
  }
}

void LocalSide::readPiece(ReadPiece& piece) {
  const bool stream = isStream(piece.path);
  if (!stream && reading_.path != piece.path) {
    release(reading_);
    const int cause = openToRead(piece.path, reading_.descriptor);
    if (cause != 0) {
      release(reading_);
      piece.error = lineOf(piece.path, "Cannot open file to read", cause);
      return;
    }
    reading_.path = piece.path;
  }
  while (piece.got < piece.wanted) {
    if (stream) interruption_.waitReadable(STDIN_FILENO);
    char* const place = piece.buffer + piece.got;
    const std::size_t left = piece.wanted - piece.got;
    const ssize_t got = stream ? ::read(STDIN_FILENO, place, left)
                               : ::pread(reading_.descriptor, place, left,
                                         static_cast<off_t>(piece.offset + piece.got));
    if (got < 0 && (errno == EINTR || (stream && errno == EAGAIN))) continue;
    if (got < 0) piece.error = lineOf(piece.path, "Cannot read from file", errno);
    if (got <= 0) break;
    piece.got += static_cast<std::size_t>(got);
  }
  if (!stream && piece.got < piece.wanted) release(reading_);
}

void LocalSide::write(std::vector<WritePiece>& pieces) {
  for (WritePiece& piece : pieces) {
    interruption_.check();
    writePiece(piece);
    if (!piece.error.empty()) releaseWriting();
  }
}

void LocalSide::writePiece(WritePiece& piece) {
  const auto tell = [&piece](const char* what, int cause) {
    piece.error = lineOf(piece.path, what, cause);
  };
  if (isStream(piece.path)) {
    const int cause = writeAll(STDOUT_FILENO, piece);
    interruption_.check();
    if (cause != 0)
      throw CommandError(kExitFailed,
                         std::string("cannot write the output: ") + std::strerror(cause));
    return;
  }
  if (writing_.path != piece.path || piece.offset == 0) {
    releaseWriting();
    const int cause = openToWrite(piece, writing_.descriptor);
    if (cause != 0) return tell("Cannot create file to write", cause);
    writing_.path = piece.path;
  }
  const int cause = writeAll(writing_.descriptor, piece);
  if (cause != 0) return tell("Cannot write to file", cause);
  if (!piece.last) {
    // So that the disk works beside us, and not only when everything has to be there.
    behind_.begin(writing_.descriptor, static_cast<off_t>(piece.offset),
                  static_cast<off_t>(piece.size));
    return;
  }
  behind_.forget();
  const int closed = ::close(writing_.descriptor);
  if (closed != 0) tell("Cannot write to file", errno);
  writing_ = Open();
}

std::int64_t LocalSide::makeDirectory(const std::string& path, std::uint32_t mode) {
  const std::uint32_t wanted = mode & kPermissions & ~umask_;
  if (::mkdir(path.c_str(), static_cast<mode_t>(mode | kOwnerWorks)) != 0)
    fail(path, "Cannot create directory", errno);
  return (wanted & kOwnerWorks) == kOwnerWorks ? kModeIsRight : wanted;
}

bool LocalSide::makePrivate(const std::string& outer, const std::string& inner) {
  if (::mkdir(outer.c_str(), kOwnerWorks) != 0) {
    if (errno == EEXIST) return false;
    fail(outer, "Cannot create directory", errno);
  }
  if (::mkdir(inner.c_str(), kOwnerWorks) != 0) fail(inner, "Cannot create directory", errno);
  return true;
}

void LocalSide::chmod(const std::vector<std::string>& paths, std::uint32_t mode) {
  for (const std::string& path : paths)
    if (::chmod(path.c_str(), static_cast<mode_t>(mode)) != 0)
      fail(path, "Cannot change mode", errno);
}

void LocalSide::setTime(const std::string& path, std::int64_t mtime) {
  const timespec times[] = {{0, UTIME_OMIT}, {mtime, 0}};
  if (::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
    fail(path, "Cannot change time", errno);
}

void LocalSide::settle(const std::string& directory, const std::vector<std::string>& names) {
  for (const std::string& name : names) sync(join(directory, name), ::fsync);
  if (names.empty()) sync(directory, ::syncfs);
}

void LocalSide::moveInto(const std::vector<std::string>& paths, const std::string& directory,
                         bool replace) {
  for (const std::string& path : paths) {
    const std::string target = join(directory, leafOf(path));
    const unsigned flags = replace ? 0 : RENAME_NOREPLACE;
    int result = ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, target.c_str(), flags);
    if (result != 0 && errno == EINVAL && !replace && ::access(target.c_str(), F_OK) != 0)
      result = ::rename(path.c_str(), target.c_str());  // a file system without such a rename
    if (result != 0) fail(target, "Cannot move into place", errno);
  }
  sync(directory, ::fsync);
}

void LocalSide::renameDirectory(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) fail(from, "Cannot rename", errno);
}

void LocalSide::remove(const std::string& path, bool tree) {
  struct stat info;
  if (::lstat(path.c_str(), &info) != 0) fail(path, "Cannot remove item", errno);
  if (!S_ISDIR(info.st_mode)) {
    if (::unlink(path.c_str()) != 0) fail(path, "Cannot remove item", errno);
  } else if (tree) {
    removeTree(path);
  } else if (::rmdir(path.c_str()) != 0) {
    fail(path, "Cannot remove directory", errno);
  }
}

std::string LocalSide::resolved(const std::string& typed) {
  if (!typed.empty() && typed.front() == '/') return resolve("/", typed);
  char path[PATH_MAX];
  if (::getcwd(path, sizeof path) == nullptr)
    throw CommandError(kExitFailed,
                       std::string("cannot tell the current directory: ") + std::strerror(errno));
  return resolve(path, typed);
}

std::string LocalSide::realPath(const std::string& directory) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(directory.c_str(), nullptr),
                                                         &std::free);
  if (!real) fail(directory, "Cannot get information", errno);
  return real.get();
}

bool LocalSide::same(const std::string& one, const std::string& other) {
  struct stat a, b;
  return ::stat(one.c_str(), &a) == 0 && ::stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

bool LocalSide::isWithin(const std::string& directory, const std::string& tree) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(directory.c_str(), nullptr),
                                                         &std::free);
  if (!real) return false;
  for (std::string above = real.get();; above = parentOf(above)) {
    if (same(above, tree)) return true;
    if (above == "/") return false;
  }
}

}  // namespace HOQ::cli
