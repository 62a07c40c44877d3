#include "contents/WriteBehind.h"

#include <fcntl.h>

#include <system_error>
#include <utility>

namespace HOQ::cli {

WriteBehind::~WriteBehind() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void WriteBehind::begin(int descriptor, off_t offset, off_t length) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.descriptor == descriptor && waiting_.to == offset)
      waiting_.to += length;
    else
      waiting_ = {descriptor, offset, offset + length};
    if (!isDue()) return;
  }
  changed_.notify_all();
  if (thread_.joinable()) return;
  try {
    thread_ = std::thread([this] { work(); });
  } catch (const std::system_error&) {
    // Without a thread the disk begins when it likes to.
  }
}

void WriteBehind::forget() {
  std::unique_lock lock(mutex_);
  waiting_ = Range();
  changed_.wait(lock, [this] { return !asking_; });
}

void WriteBehind::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ended_ || isDue(); });
    if (ended_) return;
    const Range range = std::exchange(waiting_, Range());
    asking_ = true;
    lock.unlock();
    (void)::sync_file_range(range.descriptor, range.from, range.to - range.from,
                            SYNC_FILE_RANGE_WRITE);
    lock.lock();
    asking_ = false;
    changed_.notify_all();
  }
}

}  // namespace HOQ::cli
