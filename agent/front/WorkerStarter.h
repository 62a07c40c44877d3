#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// Makes worker processes. What identity they take is the starter's business: it is told an entry's
/// name and nothing else. Belongs to the loop's thread.
class WorkerStarter {
 public:
  /// Chosen by the caller, each greater than those before it.
  using Id = std::uint64_t;

  struct Started {
    pid_t pid = 0;
    tls::UniqueFd control;  // the front's end, which does not block
    std::string trouble;    // why the worker has no rights, whatever its entry says; mostly empty
  };

  /// What becomes of workers. One is started or has failed, perhaps before start() returns; one
  /// that was started ends.
  struct Listener {
    std::function<void(Id, Started)> started;
    std::function<void(Id, const std::string& why)> failed;
    std::function<void(Id, const std::string& how)> ended;  // "exit status 1", "signal 9"
  };

  virtual ~WorkerStarter() = default;

  /// Before anything is started.
  virtual void setListener(Listener listener) = 0;

  /// A worker for the entry of this name; empty: for the clients that no entry names.
  virtual void start(Id id, const std::string& entry) = 0;

  /// Ends a worker that was started, at once. One that has ended, or has not started yet: nothing.
  virtual void kill(Id id) = 0;
};

}  // namespace HOQ::agent
