#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "spawner/WorkerPlan.h"
#include "tls/Result.h"

namespace HOQ::agent {

/// Makes processes after plans, and ends them. One thread.
class Launcher {
 public:
  virtual ~Launcher() = default;

  /// Starts a process that becomes what `plan` says and then hoq-worker, with a copy of `control`
  /// as its end of the control socket. What keeps it from that, it says there, and ends.
  virtual tls::Result<pid_t> launch(const WorkerPlan& plan, int control) = 0;

  /// Ends a process that was launched and not reaped, with what it has started.
  virtual void kill(pid_t pid) = 0;

  /// Calls `ended` for each process that has ended, with how ("exit status 1", "signal 9").
  virtual void reap(const std::function<void(pid_t, const std::string& how)>& ended) = 0;
};

}  // namespace HOQ::agent
