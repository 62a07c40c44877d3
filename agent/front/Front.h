#pragma once

#include <memory>
#include <string>
#include <vector>

#include "front/AuditLog.h"
#include "front/Connections.h"
#include "front/Dialler.h"
#include "front/EventLoop.h"
#include "front/Listeners.h"
#include "front/MetricsServer.h"
#include "front/ServiceManager.h"
#include "front/Setup.h"
#include "front/SignalSource.h"
#include "front/SpawnerClient.h"
#include "front/Tally.h"
#include "front/Workers.h"
#include "tls/TlsPump.h"

namespace HOQ::agent {

/// The daemon's front: puts the parts together, and carries out what signals ask for. One thread.
class Front {
 public:
  /// `spawner` is the socket of the one beside us; `surroundings` are those that the daemon was
  /// started in. Signals were blocked before any thread was started. Throws std::system_error when
  /// the system lacks descriptors.
  Front(tls::UniqueFd spawner, Surroundings surroundings, ServiceManager manager);
  ~Front();
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  /// Puts `settings` in force and opens what they name and what is not in `early` already. Returns
  /// why it cannot, or nothing.
  std::vector<std::string> start(SettingsPtr settings, Listeners::Opened early);

  /// Serves until it has been asked to end and has drained: true; or until it cannot go on.
  [[nodiscard]] bool run();

 private:
  /// What is opened before anything of a configuration comes in force.
  struct Opened {
    Listeners::Opened listeners;
    Listeners::Opened metrics;
    std::unique_ptr<AuditLog> audit;
  };

  std::vector<std::string> open(const Settings& settings, Opened& opened);
  void lost(const std::string& why);
  void enforce(SettingsPtr settings, Opened opened);
  void signalled(int signal);
  void reload();
  void reread(SpawnerClient::Reading reading);
  void drain();
  void dial(Worker& worker, const Dial& request);
  void dialled(Worker::Id id, const Dial& request, Dialler::Dialled dialled);
  void answerDial(Worker& worker, const Dial& request, Dialler::Dialled dialled);
  void audit(const Worker& worker, const Audit& record);
  std::string metrics() const;
  std::string status() const;

  const Surroundings surroundings_;
  const ServiceManager manager_;
  EventLoop loop_;
  SpawnerClient spawner_;
  Tally tally_;
  SettingsPtr settings_;
  std::unique_ptr<AuditLog> audit_;
  Workers workers_;
  Connections connections_;
  std::unique_ptr<tls::TlsPump> pump_;  // gone before what its callbacks reach
  std::unique_ptr<Dialler> dialler_;
  MetricsServer metricsServer_;
  Listeners listeners_;
  Listeners metricsListeners_;
  SignalSource signals_;
  bool reloading_ = false;
  bool reloadAgain_ = false;
  bool draining_ = false;
  bool failed_ = false;
};

}  // namespace HOQ::agent
