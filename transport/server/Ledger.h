#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <set>

#include "NodeServer.h"

namespace HOQ::transport {

/// A call that is under way, as drain() sees it. Any thread.
class LiveCall {
 public:
  virtual ~LiveCall() = default;
  /// Ends it as soon as it can be, because of `trouble`. May be called when it has ended.
  virtual void breakOff(const char* trouble) = 0;
  /// The node goes down: what only waits for something to do ends.
  virtual void endIfIdle() {}
};

/// Admits calls, counts them, and knows which are under way. Any thread.
class Ledger {
 public:
  explicit Ledger(const NodeServerSettings& settings) : settings_(settings) {}

  enum class Admission { kYes, kTooMany, kGoesDown };

  /// What a call that ends gives back.
  enum class Held { kNone, kWaiting, kRunning };

  /// Asks for a call or transfer; each kYes is followed by one ended().
  Admission admit();
  void began();  // its operation runs
  void ended(const CallRecord& call, Held held) {
    count(call, held);
    tell(call);
  }
  /// The two halves of it, for a call that tells of several at once.
  void count(const CallRecord& call, Held held);
  void tell(const CallRecord& call);

  /// An open stream of transfers. kTooMany: an idle one may give way first.
  Admission admitStream();
  void streamEnded();

  void add(LiveCall* call);
  /// Afterwards nothing calls `call` any more.
  void remove(LiveCall* call);

  void countConnection();
  NodeServerCounters counters() const;

  /// No more are admitted.
  void goDown();
  bool awaitNone(std::chrono::milliseconds limit);
  void breakOffAll(const char* trouble);
  /// Ends idle streams.
  void endIdle();

  const NodeServerSettings& settings() const { return settings_; }

 private:
  const NodeServerSettings settings_;
  mutable std::mutex mutex_;  // guards the counters
  std::condition_variable changed_;
  NodeServerCounters counters_;
  bool goesDown_ = false;
  std::recursive_mutex liveMutex_;  // guards live_; held while a call is told something
  std::set<LiveCall*> live_;
};

}  // namespace HOQ::transport
