#include "routine/SystemCopy.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "routine/HOQFileRoutineLin.h"

namespace HOQ {
namespace {

constexpr off_t kPiece = 16 << 20;  // of one call, so that none lasts
constexpr off_t kBlock = 4096;      // a file of less has no holes worth looking for
constexpr off_t kFar = std::numeric_limits<off_t>::max();

/// For its lifetime errno is nobody's: calls that may fail here say nothing to others.
class KeptErrno {
 public:
  KeptErrno() : kept_(errno) {}
  ~KeptErrno() { errno = kept_; }
  KeptErrno(const KeptErrno&) = delete;
  KeptErrno& operator=(const KeptErrno&) = delete;

 private:
  const int kept_;
};

/// As far as the last examination tells, which may be none.
bool isSmall(const struct stat& info) {
  if (!S_ISREG(info.st_mode) || info.st_size > SystemCopy::kSmall) return false;
  return info.st_size <= kBlock || info.st_blocks * 512 >= info.st_size;
}

}  // namespace

SystemCopy::SystemCopy(HOQFileRoutine& source, HOQFileRoutine& target) {
  const KeptErrno kept;
  const auto* from = dynamic_cast<const HOQFileRoutineLin*>(&source);
  const auto* to = dynamic_cast<const HOQFileRoutineLin*>(&target);
  if (!from || !to || isSmall(source.statBuffer)) return;
  from_ = from->descriptor();
  to_ = to->descriptor();
  struct stat there;
  if (::fstat(to_, &there) != 0 || !S_ISREG(there.st_mode)) return;
  fromAt_ = ::lseek(from_, 0, SEEK_CUR);
  toAt_ = ::lseek(to_, 0, SEEK_CUR);
  active_ = fromAt_ >= 0 && toAt_ >= 0;
  leavesHoles_ = there.st_size <= toAt_;
  if (active_ && leavesHoles_ && fromAt_ == 0 && toAt_ == 0 && share()) stand();
}

/// Takes all blocks over at once, where the file system lets files share them.
bool SystemCopy::share() {
  struct stat shared;
  if (::ioctl(to_, FICLONE, from_) != 0 || ::fstat(to_, &shared) != 0) return false;
  fromAt_ = toAt_ = shared.st_size;
  return true;
}

long SystemCopy::advance(long most) {
  if (!active_) return most;
  const KeptErrno kept;
  fromAt_ = ::lseek(from_, 0, SEEK_CUR);  // it has been read and written since
  toAt_ = ::lseek(to_, 0, SEEK_CUR);
  off_t end = dataEnd();
  while (copyTo(end)) end = dataEnd();
  stand();
  active_ = leavesHoles_ || copies_;
  return static_cast<long>(std::min<off_t>(most, end - fromAt_));
}

/// Steps over the hole that may begin here. Where the data ends that begins then.
off_t SystemCopy::dataEnd() {
  if (!leavesHoles_) return kFar;
  const off_t data = ::lseek(from_, fromAt_, SEEK_DATA);
  if (data < 0) {
    if (errno == ENXIO) meetEnd();
    leavesHoles_ = false;
    return kFar;
  }
  toAt_ += data - fromAt_;
  fromAt_ = data;
  const off_t hole = ::lseek(from_, data, SEEK_HOLE);
  return hole > data ? hole : kFar;
}

/// No data is left, but perhaps a hole. What a file grows by from now on is for reading.
void SystemCopy::meetEnd() {
  copies_ = false;
  struct stat info;
  if (::fstat(from_, &info) != 0 || info.st_size <= fromAt_) return;
  const off_t end = toAt_ + (info.st_size - fromAt_);
  if (::ftruncate(to_, end) != 0) return;  // writing will meet it
  fromAt_ = info.st_size;
  toAt_ = end;
}

/// Whether all up to `end` is copied.
bool SystemCopy::copyTo(off_t end) {
  while (copies_ && fromAt_ < end) {
    const auto piece = static_cast<std::size_t>(std::min(kPiece, end - fromAt_));
    const ssize_t copied = ::copy_file_range(from_, &fromAt_, to_, &toAt_, piece, 0);
    if (copied > 0 || (copied < 0 && errno == EINTR)) continue;
    copies_ = false;  // the end, or whatever the system says is one: reading tells
  }
  return fromAt_ == end;
}

void SystemCopy::stand() const {
  (void)::lseek(from_, fromAt_, SEEK_SET);
  (void)::lseek(to_, toAt_, SEEK_SET);
}

}  // namespace HOQ
