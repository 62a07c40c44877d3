#include "routine/ContentTypes.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "routine/ContentType.h"

namespace HOQ {
namespace {

/// Enough that the other threads do not run dry while the caller waits for a command of its own.
constexpr std::size_t kWaitingForEach = 4;

}  // namespace

ContentTypes::ContentTypes(std::size_t most) : most_(most) {}

ContentTypes::~ContentTypes() {
  {
    const Lock lock(mutex_);
    waiting_.clear();
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ContentTypes::add(const std::string& path, std::string& text) {
  if (most_ == 0) most_ = std::max(1U, std::thread::hardware_concurrency());
  Lock lock(mutex_);
  waiting_.push_back({path, &text});
  if (threads_.size() + 1 < most_ && threads_.size() < waiting_.size() + running_) startThread();
  changed_.notify_all();
  while (waiting_.size() > kWaitingForEach * threads_.size()) doNext(lock);
}

void ContentTypes::finish() {
  Lock lock(mutex_);
  while (!waiting_.empty()) doNext(lock);
  changed_.wait(lock, [this] { return running_ == 0; });
}

/// Where the system gives no further thread, those that there are do the work.
void ContentTypes::startThread() {
  try {
    threads_.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
  }
}

void ContentTypes::work() {
  Lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    doNext(lock);
  }
}

/// The job that waits longest. Its text is nobody else's meanwhile.
void ContentTypes::doNext(Lock& lock) {
  const Job job = std::move(waiting_.front());
  waiting_.pop_front();
  ++running_;
  lock.unlock();
  storeContentType(job.path, *job.text);
  lock.lock();
  --running_;
  changed_.notify_all();
}

}  // namespace HOQ
