#include "spawner/Spawner.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <variant>

namespace HOQ::agent {
namespace {

using Outcome = ControlSocket::Outcome;

/// A file in memory that holds `text` and that nobody can change any more; empty where there is
/// no room for one.
tls::UniqueFd sealed(const std::string& text) {
  tls::UniqueFd fd(::memfd_create("hoqd.toml", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  std::size_t written = 0;
  while (fd && written < text.size()) {
    const ssize_t put = ::write(fd.get(), text.data() + written, text.size() - written);
    if (put <= 0) return tls::UniqueFd();
    written += static_cast<std::size_t>(put);
  }
  constexpr int kSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
  if (!fd || ::fcntl(fd.get(), F_ADD_SEALS, kSeals) != 0) return tls::UniqueFd();
  return fd;
}

}  // namespace

Spawner::Spawner(ControlSocket front, Launcher& launcher, Configuration configuration,
                 Surroundings surroundings, Reader reader)
    : front_(std::move(front)),
      launcher_(launcher),
      configuration_(std::move(configuration)),
      surroundings_(std::move(surroundings)),
      reader_(std::move(reader)) {}

bool Spawner::obey() {
  const ControlSocket::Received received = front_->receive();
  return received.outcome == Outcome::Done && carryOut(received.message);
}

/// False for what the front may not ask.
bool Spawner::carryOut(const Message& message) {
  if (const auto* order = std::get_if<StartWorker>(&message)) return start(*order);
  if (const auto* order = std::get_if<KillWorker>(&message)) {
    if (const auto found = workers_.find(order->id); found != workers_.end()) {
      launcher_.kill(found->second);
    }
    return order->id <= lastId_;
  }
  const auto* order = std::get_if<Reread>(&message);
  if (!order || !ofGeneration(order->generation)) return false;
  reread();
  return true;
}

bool Spawner::start(const StartWorker& order) {
  if (order.id <= lastId_) return false;  // ends are told by ids: none may mean two workers
  lastId_ = order.id;
  const Configuration* configuration = ofGeneration(order.generation);
  if (!configuration) return false;
  if (workers_.size() >= configuration->limits.workers) {
    fail(order.id, "there are as many workers as there may be");
    return true;
  }
  const PlanOutcome outcome = planFor(*configuration, order.entry, surroundings_.isRoot);
  if (outcome.text.empty()) {
    launch(order.id, outcome.plan);
  } else {
    fail(order.id, outcome.text);
  }
  return true;
}

void Spawner::launch(Id id, const WorkerPlan& plan) {
  auto [fronts, workers] = ControlSocket::pair();
  const int error = errno;
  if (!fronts) return fail(id, std::generic_category().message(error));
  const auto pid = launcher_.launch(plan, workers.get());
  if (!pid) return fail(id, pid.error().text);
  workers_[id] = *pid;
  tell(WorkerStarted{id, *pid, plan.trouble}, fronts.get());
}

/// A front that is gone is found out where its socket is read.
void Spawner::tell(const Message& message, int descriptor) {
  if (front_) (void)front_->send(message, descriptor);
}

void Spawner::fail(Id id, const std::string& text) { tell(WorkerFailed{id, text}); }

/// The configuration that the front means; a candidate comes in force when it is first meant.
const Configuration* Spawner::ofGeneration(std::uint32_t generation) {
  if (generation == generation_) return &configuration_;
  if (!candidate_ || generation != lastGeneration_) return nullptr;
  configuration_ = std::move(*candidate_);
  candidate_.reset();
  generation_ = generation;
  return &configuration_;
}

void Spawner::reread() {
  candidate_.reset();
  Reading answer{++lastGeneration_, {}};
  const std::string& file = configuration_.file;
  const auto text = reader_();
  ReadConfiguration read;
  if (text) {
    read = parseConfiguration(*text, file, surroundings_);
  } else {
    read.problems = {file + ":1: " + text.error().text};
  }
  tls::UniqueFd copy;
  if (read.problems.empty()) {
    copy = sealed(*text);
    if (!copy) read.problems = {file + ":1: no memory for its text"};
  }
  if (read.problems.empty()) candidate_ = std::move(read.configuration);
  answer.problems = std::move(read.problems);
  tell(answer, copy.get());
}

void Spawner::reap() {
  launcher_.reap([this](pid_t pid, const std::string& how) {
    for (auto worker = workers_.begin(); worker != workers_.end(); ++worker) {
      if (worker->second != pid) continue;
      const Id id = worker->first;
      workers_.erase(worker);
      tell(WorkerEnded{id, how});
      return;
    }
  });
}

void Spawner::killAll() {
  for (const auto& [id, pid] : workers_) launcher_.kill(pid);
}

}  // namespace HOQ::agent
