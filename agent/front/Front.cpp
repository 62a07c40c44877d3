#include "front/Front.h"

#include <spdlog/spdlog.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <utility>

#include "front/Logging.h"
#include "front/Metrics.h"

namespace HOQ::agent {
namespace {

/// Of one worker at a time; it has reason to wait for some, none to ask for crowds.
constexpr std::size_t kMostDials = 64;

const char* nameOf(DialOutcome outcome) {
  switch (outcome) {
    case DialOutcome::Connected:
      return "connected";
    case DialOutcome::Unreachable:
      return "unreachable";
    case DialOutcome::Untrusted:
      return "untrusted";
    case DialOutcome::Refused:
      break;
  }
  return "refused";
}

/// For whoever started the daemon. It may not be reading any more.
void print(const char* what, const std::vector<std::string>& addresses) {
  for (const std::string& address : addresses) {
    std::printf("%s %s\n", what, address.c_str());
    spdlog::info("{} {}", what, address);
  }
  (void)std::fflush(stdout);
}

std::vector<std::string> metricsAddresses(const Configuration& configuration) {
  if (configuration.metrics.empty()) return {};
  return {configuration.metrics};
}

}  // namespace

Front::Front(tls::UniqueFd spawner, Surroundings surroundings, ServiceManager manager)
    : surroundings_(std::move(surroundings)),
      manager_(std::move(manager)),
      spawner_(loop_, std::move(spawner), [this](const std::string& why) { lost(why); }),
      workers_(loop_, spawner_, tally_,
               {[this](Worker& worker, const Dial& request) { dial(worker, request); },
                [this](const Worker& worker, const Audit& record) { audit(worker, record); },
                [this](Worker& worker) { connections_.workerGone(worker); },
                [this] {
                  if (draining_) loop_.stop();
                }},
               {}),
      connections_(loop_, workers_, tally_),
      metricsServer_(loop_, [this] { return metrics(); }),
      listeners_(loop_, [this](tls::UniqueFd socket,
                               bool isUnix) { connections_.take(std::move(socket), isUnix); }),
      metricsListeners_(
          loop_, [this](tls::UniqueFd socket, bool) { metricsServer_.take(std::move(socket)); }),
      signals_(loop_, [this](int signal) { signalled(signal); }) {}

Front::~Front() = default;

std::vector<std::string> Front::start(SettingsPtr settings, Listeners::Opened early) {
  auto pump = tls::TlsPump::start({});
  if (!pump) return {pump.error().text};
  pump_ = std::move(*pump);
  connections_.setPump(pump_.get());
  dialler_ = std::make_unique<Dialler>(loop_, *pump_);
  Opened opened;
  opened.listeners = std::move(early);
  std::vector<std::string> problems = open(*settings, opened);
  if (problems.empty()) enforce(std::move(settings), std::move(opened));
  return problems;
}

std::vector<std::string> Front::open(const Settings& settings, Opened& opened) {
  const Configuration& configuration = settings.configuration;
  std::vector<std::string> problems;
  const auto keep = [&](const char* key, auto result, auto& place) {
    if (result) {
      place = std::move(*result);
    } else {
      problems.push_back(configuration.complaint(key, result.error().text));
    }
  };
  keep("audit", AuditLog::open(configuration.audit), opened.audit);
  keep("metrics", metricsListeners_.open(metricsAddresses(configuration)), opened.metrics);
  keep("listen", listeners_.open(configuration.listen, std::move(opened.listeners)),
       opened.listeners);
  return problems;
}

void Front::enforce(SettingsPtr settings, Opened opened) {
  settings_ = std::move(settings);
  audit_ = std::move(opened.audit);
  connections_.apply(settings_);
  workers_.reconsider(*settings_);
  const Configuration& configuration = settings_->configuration;
  print("listening", listeners_.adopt(std::move(opened.listeners), configuration.listen));
  print("metrics",
        metricsListeners_.adopt(std::move(opened.metrics), metricsAddresses(configuration)));
}

bool Front::run() {
  manager_.ready(status());
  loop_.run();
  return !failed_;
}

/// Without the spawner no worker can be started, nor ended: a supervisor starts all anew.
void Front::lost(const std::string& why) {
  spdlog::error("the spawner has ended{}{}: the daemon ends", why.empty() ? "" : ": ", why);
  failed_ = true;
  loop_.stop();
}

std::string Front::status() const {
  return "serving " + std::to_string(settings_->configuration.clients.size()) + " clients";
}

void Front::signalled(int signal) {
  if (signal == SIGCHLD) return;  // the spawner's end is seen at its socket
  if (signal == SIGHUP) {
    if (!draining_) reload();
  } else if (draining_) {
    spdlog::warn("asked to end again: workers are killed");
    workers_.killAll();
  } else {
    drain();
  }
}

/// Only the spawner may read the file; both go by what it has read.
void Front::reload() {
  reloadAgain_ = reloading_;
  if (reloading_) return;
  reloading_ = true;
  manager_.reloading();
  spawner_.reread([this](SpawnerClient::Reading reading) { reread(std::move(reading)); });
}

void Front::reread(SpawnerClient::Reading reading) {
  reloading_ = false;
  if (draining_) return;
  const std::string file = settings_->configuration.file;
  ReadConfiguration read{{}, std::move(reading.problems)};
  if (read.problems.empty()) read = parseConfiguration(reading.text, file, surroundings_);
  SettingsOutcome outcome = loadSettings(std::move(read));
  if (outcome.problems.empty() &&
      outcome.settings->configuration.user != settings_->configuration.user) {
    outcome.problems = {outcome.settings->configuration.complaint("user", "takes a restart")};
  }
  Opened opened;
  if (outcome.problems.empty()) outcome.problems = open(*outcome.settings, opened);
  for (const std::string& problem : outcome.problems) spdlog::error("{}", problem);
  if (outcome.problems.empty()) {
    spawner_.adopt(reading.generation);
    enforce(std::move(outcome.settings), std::move(opened));
    spdlog::info("{} is in force", file);
  } else {
    spdlog::error("{} is refused: the configuration before it stays in force", file);
  }
  ++tally_.reloads[outcome.problems.empty() ? "taken" : "refused"];
  manager_.ready(status());
  if (reloadAgain_) reload();
}

void Front::drain() {
  draining_ = true;
  manager_.stopping();
  listeners_.closeAll();
  spdlog::info("draining");
  connections_.stop();
  workers_.drain(std::chrono::seconds(settings_->configuration.limits.drainSeconds));
  if (workers_.empty()) loop_.stop();
}

void Front::dial(Worker& worker, const Dial& request) {
  ++worker.dials;
  const bool mayAsk = worker.welcome().mayRead || worker.welcome().mayChange;
  if (!mayAsk || worker.dials > kMostDials) {
    const char* why = mayAsk ? "too many connections are being made" : "this client has no rights";
    return answerDial(worker, request, {DialOutcome::Refused, why, tls::UniqueFd()});
  }
  dialler_->dial(request.address, settings_->tls, settings_->configuration.peers,
                 [this, id = worker.id(), request](Dialler::Dialled dialled) {
                   // The worker may have ended meanwhile; then the connection does, too.
                   if (Worker* asking = workers_.byId(id)) {
                     answerDial(*asking, request, std::move(dialled));
                   }
                 });
}

void Front::answerDial(Worker& worker, const Dial& request, Dialler::Dialled dialled) {
  --worker.dials;
  ++tally_.dials[nameOf(dialled.outcome)];
  spdlog::info("{} to {} for {}{}{}", nameOf(dialled.outcome), printable(request.address),
               worker.client(), dialled.text.empty() ? "" : ": ", printable(dialled.text));
  DialAnswer answer{request.request, dialled.outcome, dialled.text};
  (void)worker.send(std::move(answer), std::move(dialled.descriptor));  // else it waits in vain
}

void Front::audit(const Worker& worker, const Audit& record) {
  ++tally_.auditRecords;
  const auto now = std::chrono::system_clock::now();
  if (!audit_->write(auditLine(now, worker.client(), record))) ++tally_.auditFailures;
}

std::string Front::metrics() const {
  return metricsText(
      tally_,
      {connections_.count(), connections_.handshaking(), workers_.size(), pump_->counters()},
      workers_);
}

}  // namespace HOQ::agent
