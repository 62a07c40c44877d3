#pragma once

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "config/Configuration.h"
#include "control/ControlSocket.h"
#include "front/EventLoop.h"
#include "front/WorkerStarter.h"

namespace HOQ::agent {

/// A worker process as the front sees it: its socket, what waits to be sent, and the connections
/// that it serves. What it sends is taken for hostile. Belongs to the loop's thread.
class Worker {
 public:
  using Id = std::uint64_t;

  /// What the worker says. May destroy the worker, `gone` in particular.
  struct Listener {
    std::function<void(Worker&, Message)> said;
    /// Its socket is closed, or it broke the rules: `why` is empty for an orderly end.
    std::function<void(Worker&, const std::string& why)> gone;
  };

  /// One that has no process yet: what is sent to it waits, `welcome` before all else. `entry`:
  /// none for the clients that no entry names.
  Worker(EventLoop& loop, Id id, Welcome welcome, std::optional<ClientEntry> entry,
         Listener listener);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Its process is there: watches the socket, and sends what has waited. Once.
  void begin(WorkerStarter::Started started);
  bool hasBegun() const { return socket_.has_value(); }

  Id id() const { return id_; }
  pid_t pid() const { return pid_; }  // 0 before begin()
  const Welcome& welcome() const { return welcome_; }
  const std::optional<ClientEntry>& entry() const { return entry_; }
  const std::string& client() const { return welcome_.client; }

  /// Sends a message, or keeps it until the worker takes it. False when too many wait: a worker
  /// that does not read.
  [[nodiscard]] bool send(Message message, tls::UniqueFd descriptor = tls::UniqueFd());

  /// Says that it is to end, by ending our direction; what it still has to say is still heard.
  void finish();

  /// Takes everything that it has said: it has ended, so that this has an end, too. Then `gone`.
  void hearOut();

  std::set<std::uint64_t> connections;  // served by it, by their numbers in the front
  std::size_t dials = 0;                // that it waits for
  bool ready = false;                   // it has said so
  bool ending = false;                  // it has been told to
  Counters counters;                    // its latest word

 private:
  struct Waiting {
    Message message;
    tls::UniqueFd descriptor;
  };

  bool receiveOne();
  void flush();

  EventLoop& loop_;
  const Id id_;
  pid_t pid_ = 0;
  std::optional<ControlSocket> socket_;
  const Welcome welcome_;
  const std::optional<ClientEntry> entry_;
  const Listener listener_;
  std::deque<Waiting> waiting_;
  bool watchesRoom_ = false;
  const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  // ends with this
};

}  // namespace HOQ::agent
