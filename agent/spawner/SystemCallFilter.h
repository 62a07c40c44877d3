#pragma once

#include <string>

namespace HOQ::agent {

/// What a process has no use for and gives up, for good and for what it executes.
enum class SystemCalls {
  /// Of the front, which has all it needs and talks to strangers: making processes, executing
  /// programs, and all that workers give up.
  OfFront,
  /// Of workers: other processes' memory, mounts and namespaces, identities other than files'
  /// owners, kernel modules, keys, opening files by handles, io_uring (which goes round filters).
  OfWorker,
};

/// Lets the kernel answer those calls with EPERM from now on, in this thread and those it makes
/// later, and sees to it that nothing that is executed gains rights (no_new_privs). Empty; else
/// why it cannot be. Where the system has no filters only the latter is done.
std::string giveUp(SystemCalls calls);

}  // namespace HOQ::agent
