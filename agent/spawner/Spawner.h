#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "config/Configuration.h"
#include "control/ControlSocket.h"
#include "spawner/Launcher.h"
#include "tls/Result.h"

namespace HOQ::agent {

/// The process beside the front that starts workers, and the only one that keeps root where the
/// daemon was started with it. The front may ask for the worker of an entry by its name, for the
/// end of one, and for the configuration to be read again; it is taken for hostile, and ends with
/// all workers when it says anything else. Nothing that a client sends comes here.
///
/// One thread. Signals that it is to hear of are blocked before it is made.
class Spawner {
 public:
  /// Reads the configuration's text; an error names no file.
  using Reader = std::function<tls::Result<std::string>()>;

  /// `configuration` is the one in force, generation 0. The launcher is not owned, outlives this.
  Spawner(ControlSocket front, Launcher& launcher, Configuration configuration,
          Surroundings surroundings, Reader reader);

  /// Takes the front's next message. False when it is gone, or has broken the rules.
  [[nodiscard]] bool obey();

  /// Tells the front of the workers that have ended.
  void reap();

  bool hasWorkers() const { return !workers_.empty(); }
  void killAll();

  /// Ends the connection to the front, which learns by that that the spawner is no more.
  void hangUp() { front_.reset(); }

  int fd() const { return front_->fd(); }

 private:
  using Id = std::uint64_t;

  bool carryOut(const Message& message);
  bool start(const StartWorker& order);
  void launch(Id id, const WorkerPlan& plan);
  void tell(const Message& message, int descriptor = -1);
  void fail(Id id, const std::string& text);
  void reread();
  const Configuration* ofGeneration(std::uint32_t generation);

  std::optional<ControlSocket> front_;
  Launcher& launcher_;
  Configuration configuration_;
  std::uint32_t generation_ = 0;
  std::optional<Configuration> candidate_;  // read, and not in force before a worker is of it
  std::uint32_t lastGeneration_ = 0;
  const Surroundings surroundings_;
  const Reader reader_;
  Id lastId_ = 0;
  std::map<Id, pid_t> workers_;
};

}  // namespace HOQ::agent
