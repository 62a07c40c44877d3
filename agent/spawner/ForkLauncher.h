#pragma once

#include <map>
#include <string>
#include <vector>

#include "spawner/ControlGroups.h"
#include "spawner/Launcher.h"

namespace HOQ::agent {

/// Makes workers by fork(2) and execve(2). Between the two the child takes its place: its process
/// groups, descriptors, limits, namespace, identity, and what it gives up.
class ForkLauncher : public Launcher {
 public:
  /// `program` is hoq-worker's file, absolute; `folders` are those that it needs to run, its
  /// plugins' included; `groups` are not owned and outlive this.
  ForkLauncher(std::string program, std::vector<std::string> folders, ControlGroups& groups)
      : program_(std::move(program)), folders_(std::move(folders)), groups_(groups) {}

  /// Ends all that is left, and waits for it.
  ~ForkLauncher() override;
  ForkLauncher(const ForkLauncher&) = delete;
  ForkLauncher& operator=(const ForkLauncher&) = delete;

  tls::Result<pid_t> launch(const WorkerPlan& plan, int control) override;

  /// Ends its process group, too; its control group ends when it is reaped.
  void kill(pid_t pid) override;

  /// Ends what workers have left behind, too: whatever outlives them comes to this process.
  void reap(const std::function<void(pid_t, const std::string&)>& ended) override;

 private:
  void endStrays();

  const std::string program_;
  const std::vector<std::string> folders_;
  ControlGroups& groups_;
  std::map<pid_t, std::string> children_;  // each with its control group, which may be empty
};

}  // namespace HOQ::agent
