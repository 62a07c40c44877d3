#include "front/EventLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

namespace HOQ::agent {
namespace {

constexpr int kEventsAtOnce = 64;

[[noreturn]] void fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

/// A descriptor's number may be used again while an event of its predecessor is still in hand:
/// the generation tells them apart.
std::uint64_t keyOf(int fd, std::uint32_t generation) {
  return std::uint64_t{generation} << 32 | static_cast<std::uint32_t>(fd);
}

}  // namespace

EventLoop::EventLoop() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  if (!epoll_) fail(errno, "epoll_create1");
  wake_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!wake_) fail(errno, "eventfd");
  watch(wake_.get(), EPOLLIN, [this](std::uint32_t) {
    std::uint64_t count = 0;
    (void)!::read(wake_.get(), &count, sizeof count);  // what was posted is looked at each turn
  });
}

EventLoop::~EventLoop() = default;

void EventLoop::control(int operation, int fd, std::uint32_t events, std::uint32_t generation) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = keyOf(fd, generation);
  if (::epoll_ctl(epoll_.get(), operation, fd, &event) != 0) fail(errno, "epoll_ctl");
}

void EventLoop::watch(int fd, std::uint32_t events, Handler handler) {
  const std::uint32_t generation = ++generation_;
  control(EPOLL_CTL_ADD, fd, events, generation);
  watches_[fd] = {generation, std::make_shared<Handler>(std::move(handler))};
}

void EventLoop::change(int fd, std::uint32_t events) {
  const auto found = watches_.find(fd);
  if (found != watches_.end()) control(EPOLL_CTL_MOD, fd, events, found->second.generation);
}

void EventLoop::forget(int fd) {
  if (watches_.erase(fd) == 0) return;
  epoll_event unused{};
  (void)::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, &unused);  // fails only if it is closed
}

EventLoop::Timer EventLoop::after(std::chrono::milliseconds delay, Task task) {
  const Timer timer = ++lastTimer_;
  const Clock::time_point due = Clock::now() + delay;
  timers_.emplace(std::make_pair(due, timer), std::move(task));
  due_.emplace(timer, due);
  return timer;
}

void EventLoop::cancel(Timer timer) {
  const auto found = due_.find(timer);
  if (found == due_.end()) return;
  timers_.erase({found->second, timer});
  due_.erase(found);
}

void EventLoop::post(Task task) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    posted_.push_back(std::move(task));
  }
  const std::uint64_t one = 1;
  (void)!::write(wake_.get(), &one, sizeof one);  // fails only when it is awake for ages
}

int EventLoop::waitMs() const {
  if (timers_.empty()) return -1;
  const auto left = timers_.begin()->first.first - Clock::now();
  const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return static_cast<int>(std::clamp<long long>(ms, 0, INT_MAX));
}

void EventLoop::runTimers() {
  const Clock::time_point now = Clock::now();
  while (!stopped_ && !timers_.empty() && timers_.begin()->first.first <= now) {
    const auto first = timers_.begin();
    const Task task = std::move(first->second);
    due_.erase(first->first.second);
    timers_.erase(first);
    task();
  }
}

void EventLoop::runPosted() {
  std::vector<Task> tasks;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks.swap(posted_);
  }
  for (const Task& task : tasks) {
    if (stopped_) return;
    task();
  }
}

void EventLoop::dispatch(std::uint64_t key, std::uint32_t events) {
  const auto found = watches_.find(static_cast<int>(key & 0xFFFFFFFF));
  if (found == watches_.end() || found->second.generation != key >> 32) return;
  const std::shared_ptr<Handler> handler = found->second.handler;  // it may forget itself
  (*handler)(events);
}

void EventLoop::run() {
  epoll_event events[kEventsAtOnce];
  while (!stopped_) {
    const int count = ::epoll_wait(epoll_.get(), events, kEventsAtOnce, waitMs());
    if (count < 0 && errno != EINTR) fail(errno, "epoll_wait");
    for (int i = 0; i < count && !stopped_; ++i) dispatch(events[i].data.u64, events[i].events);
    runPosted();
    runTimers();
  }
  stopped_ = false;  // it may be run again
}

}  // namespace HOQ::agent
