#include "contents/BatchQueue.h"

#include <utility>

namespace HOQ::cli {

BatchPtr BatchQueue::fresh() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (empty_.empty()) return std::make_unique<Batch>();
  BatchPtr batch = std::move(empty_.back());
  empty_.pop_back();
  return batch;
}

void BatchQueue::push(BatchPtr batch) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return closed_ || full_.size() < kHeld; });
  if (closed_) throw Closed();
  full_.push_back(std::move(batch));
  changed_.notify_all();
}

void BatchQueue::end(std::exception_ptr failure) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  failure_ = std::move(failure);
  changed_.notify_all();
}

BatchPtr BatchQueue::pop() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return ended_ || !full_.empty(); });
  if (failure_) std::rethrow_exception(failure_);
  if (full_.empty()) return nullptr;
  BatchPtr batch = std::move(full_.front());
  full_.pop_front();
  changed_.notify_all();
  return batch;
}

void BatchQueue::giveBack(BatchPtr batch) {
  batch->clear();
  const std::lock_guard<std::mutex> lock(mutex_);
  empty_.push_back(std::move(batch));
}

void BatchQueue::close() {
  const std::lock_guard<std::mutex> lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

}  // namespace HOQ::cli
