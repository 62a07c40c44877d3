#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace HOQ::transport {

/// Threads that run tasks in the order they came: made when first needed, at most so many. Any
/// thread.
class Pool {
 public:
  using Task = std::function<void()>;

  explicit Pool(std::size_t threads) : most_(threads) {}
  /// Runs what waits, and waits for what runs.
  ~Pool();
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  /// Never waits; how many tasks may wait is the caller's affair. `key` names the task for
  /// withdraw(). Throws std::system_error when there is no thread and none can be made.
  void submit(const void* key, Task task);

  /// Takes a task back that has not begun. True: it will not run.
  bool withdraw(const void* key);

  std::size_t waiting() const;

 private:
  void work();

  const std::size_t most_;
  mutable std::mutex mutex_;  // guards the rest
  std::condition_variable changed_;
  std::deque<std::pair<const void*, Task>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t free_ = 0;
  bool ending_ = false;
};

}  // namespace HOQ::transport
