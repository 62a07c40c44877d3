#include "server/Pool.h"

#include <algorithm>
#include <system_error>

namespace HOQ::transport {

Pool::~Pool() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& each : threads_) each.join();
}

void Pool::submit(const void* key, Task task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  tasks_.emplace_back(key, std::move(task));
  if (tasks_.size() > free_ && threads_.size() < most_) {
    try {
      threads_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
      if (threads_.empty()) {
        tasks_.pop_back();
        throw;
      }
    }
  }
  changed_.notify_one();
}

bool Pool::withdraw(const void* key) {
  Task last;  // dropped after the lock
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = std::find_if(tasks_.begin(), tasks_.end(),
                                  [key](const auto& each) { return each.first == key; });
  if (found == tasks_.end()) return false;
  last = std::move(found->second);
  tasks_.erase(found);
  return true;
}

std::size_t Pool::waiting() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return tasks_.size();
}

void Pool::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    ++free_;
    changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
    --free_;
    if (tasks_.empty()) return;
    Task task = std::move(tasks_.front().second);
    tasks_.pop_front();
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
  }
}

}  // namespace HOQ::transport
