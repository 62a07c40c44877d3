#include <hoq/HOQFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace HOQ {
namespace {

constexpr int kDefaultMode = 0777;
constexpr int kPermissions = 07777;

static_assert(sizeof(off_t) == sizeof(std::int64_t), "offsets have 64 bits");

int causeOfKind(mode_t mode) {
  if (S_ISREG(mode)) return 0;
  if (S_ISDIR(mode)) return EISDIR;
  return S_ISLNK(mode) ? ELOOP : ENXIO;
}

/// Why what stands at the path is not to be opened, or 0. Asked before the open, which by itself
/// would be noticed at the other end of a FIFO or device.
int causeToRefuse(const char* path, bool followLinks) {
  struct stat info;
  if (::fstatat(AT_FDCWD, path, &info, followLinks ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
    return 0;  // the open says why
  return causeOfKind(info.st_mode);
}

}  // namespace

HOQFile::~HOQFile() { (void)close(); }  // nobody is left to hear of a failure

int HOQFile::openWrite(const std::string& path, std::int64_t offset, const HOQFilerOptions& options,
                       const HOQSecurityAttributes* attributes) {
  (void)close();
  const bool followLinks = options.has(HOQFilerOptions::kFollowLinks);
  const bool whole = offset <= 0;
  const bool exclusive = whole && !options.has(HOQFilerOptions::kOverwrite);
  const int refused = causeToRefuse(path.c_str(), followLinks);
  if (refused != 0) return fail(refused);

  // Another kind may have come in the meantime: O_NONBLOCK does not wait for it, and it is not cut
  // before it is known to be a file.
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY |
                    (followLinks ? 0 : O_NOFOLLOW) | (exclusive ? O_EXCL : 0);
  const int mode = attributes ? attributes->value : kDefaultMode;
  fd_ = ::open(path.c_str(), flags, static_cast<mode_t>(mode & kPermissions));
  if (fd_ < 0) return -1;
  struct stat info;
  if (::fstat(fd_, &info) != 0) return fail(errno);
  const int kind = causeOfKind(info.st_mode);
  if (kind != 0) return fail(kind);
  if (!whole && ::lseek(fd_, offset, SEEK_SET) == -1) return fail(errno);
  if (whole && !exclusive && info.st_size != 0 && ::ftruncate(fd_, 0) != 0) return fail(errno);
  return 0;
}

int HOQFile::fail(int cause) {
  (void)close();
  errno = cause;
  return -1;
}

long HOQFile::write(const char* bytes, std::size_t count) { return ::write(fd_, bytes, count); }

int HOQFile::close() {
  const int closing = fd_;
  fd_ = -1;
  return closing < 0 ? 0 : ::close(closing);
}

}  // namespace HOQ
