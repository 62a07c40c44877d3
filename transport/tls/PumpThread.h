#pragma once

#include <pthread.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "tls/PumpConnection.h"

namespace HOQ::tls {

/// One thread of a pump and its connections. Orders come from any thread; all else is its own.
class PumpThread {
 public:
  PumpThread(const TlsPump::Options& options, PumpCounters& counters);
  ~PumpThread();
  PumpThread(const PumpThread&) = delete;
  PumpThread& operator=(const PumpThread&) = delete;

  /// Nothing, or what the system lacks.
  std::optional<Error> start();

  void add(PumpConnection::Start start);
  void close(ConnectionId id, std::string reason);

  /// Connections and orders for some; to find the thread with the fewest.
  std::size_t load() const { return load_.load(std::memory_order_relaxed); }

  /// Tells it to end; breaks its connections off.
  void stop();
  /// Waits for that.
  void join();
  /// Refuses what was ordered too late. After join(). True: there was something.
  bool refuseOrders();

 private:
  using Clock = PumpConnection::Clock;

  struct Close {
    ConnectionId id = 0;
    std::string reason;
  };
  using Order = std::variant<PumpConnection::Start, Close>;

  struct Entry {
    std::unique_ptr<PumpConnection> connection;
    Clock::time_point deadline = Clock::time_point::max();  // as it stands in deadlines_
    bool isQueued = false;
    bool isPlainWatched = false;
  };

  static void* main(void* self);
  void loop();
  int timeout() const;
  void note(std::uint64_t tag, std::uint32_t events);
  void queue(ConnectionId id, Entry& entry);
  void order(Order order);
  std::vector<Order> takeOrders();
  void obey(PumpConnection::Start& start);
  void obey(Close& close);
  void runQueued();
  void runOne(ConnectionId id);
  void settle(ConnectionId id, Entry& entry);
  void expire();
  bool watch(int fd, std::uint64_t tag);

  const TlsPump::Options& options_;
  PumpBench bench_;
  UniqueFd epoll_;
  UniqueFd bell_;  // rung for orders
  std::optional<pthread_t> thread_;
  std::atomic<bool> stopping_{false};
  std::atomic<std::size_t> load_{0};

  std::mutex mutex_;
  std::vector<Order> orders_;  // guarded by mutex_

  std::unordered_map<ConnectionId, Entry> entries_;
  std::set<std::pair<Clock::time_point, ConnectionId>> deadlines_;
  std::deque<ConnectionId> queued_;
};

}  // namespace HOQ::tls
