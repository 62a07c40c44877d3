#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "tls/Result.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// Makes worker processes. What identity they take is the starter's business: it is told an entry's
/// name and nothing else.
class WorkerStarter {
 public:
  struct Started {
    pid_t pid = 0;
    tls::UniqueFd control;  // the front's end, which does not block
  };

  virtual ~WorkerStarter() = default;

  /// A worker for the entry of this name; empty: for the clients that no entry names.
  virtual tls::Result<Started> start(const std::string& entry) = 0;

  /// Ends a worker that was started here and not reaped yet, at once.
  virtual void kill(pid_t pid) = 0;

  /// Calls `ended` for each worker that ended since, with how ("exit status 1", "signal 9").
  virtual void reap(const std::function<void(pid_t, const std::string& how)>& ended) = 0;
};

}  // namespace HOQ::agent
