#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <vector>

#include "contents/Batch.h"

namespace HOQ::cli {

/// Hands batches from one thread to another, in order, and empty ones back. It holds few, so that
/// the faster thread waits for the slower one.
class BatchQueue {
 public:
  /// Thrown to the reader when nobody takes batches any more.
  struct Closed {};

  /// The reader's: an empty batch; hands a full one over; says that there are no more, with the
  /// reason where that is a failure.
  BatchPtr fresh();
  void push(BatchPtr batch);
  void end(std::exception_ptr failure);

  /// The writer's: the next batch, or nothing behind the last one; rethrows the reader's failure at
  /// once. Gives one back. Takes no more.
  BatchPtr pop();
  void giveBack(BatchPtr batch);
  void close();

 private:
  static constexpr std::size_t kHeld = 2;

  std::mutex mutex_;  // guards everything below
  std::condition_variable changed_;
  std::deque<BatchPtr> full_;
  std::vector<BatchPtr> empty_;
  std::exception_ptr failure_;
  bool ended_ = false;
  bool closed_ = false;
};

}  // namespace HOQ::cli
