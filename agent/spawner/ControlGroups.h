#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "spawner/WorkerPlan.h"

namespace HOQ::agent {

/// The folder of the control group (cgroups(7), version 2) that this process is in, if whoever
/// started it handed the group over, as systemd does with Delegate=yes: the group's attribute
/// "user.delegate" or "trusted.delegate" is "1" then. Empty where it is somebody else's to divide.
std::string delegatedControlGroup();

/// A control group for each worker, below one that was handed over. A process leaves its process
/// group as it likes; this one it leaves only with rights over the groups, which no user of a daemon
/// that root has started has, nor a confined worker.
///
/// One thread. Without a folder there are no groups, and nothing here does anything.
class ControlGroups {
 public:
  /// Of `processes`, the daemon's own, makes a group beside those to come: where a group is
  /// divided, none may stay in it. Where that fails there are no groups.
  ControlGroups(std::string folder, const std::vector<pid_t>& processes);
  ControlGroups() = default;

  /// Removes the groups that were ended, as far as they are empty.
  ~ControlGroups();
  ControlGroups(const ControlGroups&) = delete;
  ControlGroups& operator=(const ControlGroups&) = delete;

  /// A fresh group with the plan's limit of memory and a bound for processes and threads, where
  /// the system counts these. Its folder; empty without groups, or where none can be made.
  std::string make(const WorkerPlan& plan);

  /// Kills whatever is in the group, and removes it as soon as it is empty.
  void end(const std::string& group);

  /// Tries again to remove the groups that were ended and not yet empty.
  void sweep();

 private:
  std::string folder_;
  std::uint64_t last_ = 0;
  std::vector<std::string> ended_;
};

/// Moves the calling process into a group that make() made. Empty text, or what went wrong.
std::string enterControlGroup(const std::string& group);

}  // namespace HOQ::agent
