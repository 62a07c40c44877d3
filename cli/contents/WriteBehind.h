#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace HOQ::cli {

/// Has the disk begin with what a file has been given, while more of it is being written: what is
/// left to wait for at its end is little. It promises nothing; who needs the contents on the disk
/// syncs. The thread that asks the disk is made with the first one.
class WriteBehind {
 public:
  /// So much, because a file system gives a large range its place at once, and each range costs
  /// processor time; a smaller file needs no head start.
  static constexpr off_t kAtOnce = 64 * 1024 * 1024;

  /// `atOnce`: so many bytes are asked for together, or more.
  explicit WriteBehind(off_t atOnce = kAtOnce) : atOnce_(atOnce) {}
  WriteBehind(const WriteBehind&) = delete;
  WriteBehind& operator=(const WriteBehind&) = delete;
  ~WriteBehind();

  /// `length` bytes from `offset` on are written. `descriptor` is not owned, and stays open until
  /// forget(). Ranges that follow each other become one, which the disk is asked for when it is
  /// long enough.
  void begin(int descriptor, off_t offset, off_t length);

  /// Nothing more is asked of the descriptor: it may be closed. What has not begun yet does not.
  void forget();

 private:
  struct Range {
    int descriptor = -1;
    off_t from = 0;
    off_t to = 0;
  };

  void work();
  bool isDue() const { return waiting_.descriptor >= 0 && waiting_.to - waiting_.from >= atOnce_; }

  const off_t atOnce_;
  std::mutex mutex_;  // guards everything below but the thread
  std::condition_variable changed_;
  Range waiting_;        // an empty one: none
  bool asking_ = false;  // the thread has a range in hand
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace HOQ::cli
