#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "front/EventLoop.h"
#include "front/Setup.h"
#include "front/Tally.h"
#include "front/Worker.h"
#include "front/WorkerStarter.h"

namespace HOQ::agent {

/// The worker processes: one for each client entry that has been used, and one for all clients
/// that no entry names. Belongs to the loop's thread.
class Workers {
 public:
  struct Listener {
    std::function<void(Worker&, const Dial&)> dial;
    std::function<void(const Worker&, const Audit&)> audit;
    /// The worker ends or has ended: its connections are to be closed. May be told twice.
    std::function<void(Worker&)> gone;
    /// No process is left.
    std::function<void()> allEnded;
  };

  /// How patient this is.
  struct Times {
    /// How long a worker may take to end once its socket is closed.
    std::chrono::milliseconds end{8000};
    /// After a worker that ended before it was ready, so that a broken plugin does not start
    /// processes as fast as clients connect.
    std::chrono::milliseconds hold{2000};
    /// How long clients wait for room among the workers before they are turned away.
    std::chrono::milliseconds room{10000};
  };

  Workers(EventLoop& loop, WorkerStarter& starter, Tally& tally, Listener listener, Times times);
  ~Workers();

  /// The worker for `entry` (null: for the unknown), started if there is none yet, or when there
  /// is room for one. Null when none can be started, or the last one failed a moment ago.
  Worker* find(const Settings& settings, const ClientEntry* entry);

  Worker* byId(Worker::Id id);

  /// Connections of clients come and go; a worker without any ends after a while.
  void attach(Worker& worker, std::uint64_t connection);
  void detach(Worker::Id id, std::uint64_t connection);

  /// Ends the workers that `settings` has other rights for, or none; those of which only other
  /// things changed serve on until their connections have ended.
  void reconsider(const Settings& settings);

  /// Ends a worker whose time has come: it breaks its calls off.
  void end(Worker::Id id);

  /// Lets every worker finish what it does, and ends those that have not after `limit`.
  void drain(std::chrono::seconds limit);
  void killAll();

  /// No process is left.
  bool empty() const { return processes_.empty(); }
  std::size_t size() const { return workers_.size(); }
  void forEach(const std::function<void(const Worker&)>& each) const;

 private:
  struct Process {
    std::string client;
    pid_t pid = 0;       // 0: it was asked for
    bool asked = false;  // we want it to end
    EventLoop::Timer killer = 0;
  };

  void requestStart(Worker::Id id);
  void makeRoom();
  void startWaiting();
  void started(Worker::Id id, WorkerStarter::Started process);
  void failed(Worker::Id id, const std::string& why);
  void ended(Worker::Id id, const std::string& how);
  void lose(Worker& worker);
  void said(Worker& worker, Message message);
  void gone(Worker& worker, const std::string& why);
  void forget(Worker& worker);
  void stopTaking(Worker& worker);
  void retire(Worker& worker);
  void armIdle(Worker& worker);
  bool isCurrent(const Worker& worker) const;
  void killLater(Worker::Id id, std::chrono::milliseconds delay, bool asked);
  void log(const Worker& worker, const Log& line) const;

  EventLoop& loop_;
  WorkerStarter& starter_;
  Tally& tally_;
  const Listener listener_;
  const Times times_;
  Worker::Id lastId_ = 0;
  std::chrono::seconds idle_{0};
  std::size_t most_ = 0;  // processes
  std::map<Worker::Id, std::unique_ptr<Worker>> workers_;
  std::map<std::string, Worker::Id> current_;  // by entry name; the others are retired
  std::map<Worker::Id, EventLoop::Timer> idleTimers_;
  std::map<Worker::Id, Process> processes_;  // also of workers that are forgotten
  std::deque<Worker::Id> waiting_;           // for room, each its turn; some may be gone
  std::map<std::string, std::chrono::steady_clock::time_point> heldUntil_;
};

}  // namespace HOQ::agent
