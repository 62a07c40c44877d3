#pragma once

#include <set>
#include <string>

#include "front/WorkerStarter.h"

namespace HOQ::agent {

/// Starts workers as children of this process, with its own user.
class SpawnStarter : public WorkerStarter {
 public:
  /// `program` is hoq-worker's file.
  explicit SpawnStarter(std::string program) : program_(std::move(program)) {}

  /// Where hoq-worker lies, seen from this program: beside it, or in libexec. Empty if nowhere.
  static std::string findProgram();

  tls::Result<Started> start(const std::string& entry) override;
  void kill(pid_t pid) override;
  void reap(const std::function<void(pid_t, const std::string&)>& ended) override;

 private:
  const std::string program_;
  std::set<pid_t> children_;
};

}  // namespace HOQ::agent
