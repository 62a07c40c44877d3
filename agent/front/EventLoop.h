#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// The front's one thread of control: descriptors that are ready, times that come, and what other
/// threads hand over. Everything but post() belongs to the thread that calls run().
class EventLoop {
 public:
  using Handler = std::function<void(std::uint32_t events)>;  // of epoll(7)
  using Task = std::function<void()>;
  using Timer = std::uint64_t;

  /// Throws std::system_error when the system has no descriptor left.
  EventLoop();
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// Calls `handler` whenever `fd` is ready for `events` (or has failed). The caller keeps the
  /// descriptor, and calls forget() before closing it.
  void watch(int fd, std::uint32_t events, Handler handler);
  void change(int fd, std::uint32_t events);

  /// From here on the handler is not called, even for what was ready already. A handler may
  /// forget any descriptor, its own included. One that is not watched: nothing.
  void forget(int fd);

  Timer after(std::chrono::milliseconds delay, Task task);
  void cancel(Timer timer);

  /// Runs `task` in the loop. Any thread, also after run() has returned (then it is dropped).
  void post(Task task);

  /// Runs until stop().
  void run();
  void stop() { stopped_ = true; }

 private:
  struct Watch {
    std::uint32_t generation;
    std::shared_ptr<Handler> handler;
  };
  using Clock = std::chrono::steady_clock;

  void control(int operation, int fd, std::uint32_t events, std::uint32_t generation);
  void dispatch(std::uint64_t key, std::uint32_t events);
  void runPosted();
  void runTimers();
  int waitMs() const;

  tls::UniqueFd epoll_;
  tls::UniqueFd wake_;
  bool stopped_ = false;
  std::uint32_t generation_ = 0;
  std::unordered_map<int, Watch> watches_;
  Timer lastTimer_ = 0;
  std::map<std::pair<Clock::time_point, Timer>, Task> timers_;
  std::unordered_map<Timer, Clock::time_point> due_;
  std::mutex mutex_;  // guards posted_
  std::vector<Task> posted_;
};

}  // namespace HOQ::agent
