#include "front/Workers.h"

#include <spdlog/spdlog.h>

#include <utility>
#include <variant>
#include <vector>

#include "front/Logging.h"

namespace HOQ::agent {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

std::string keyOf(const ClientEntry* entry) { return entry ? entry->name : std::string(); }

std::string keyOf(const Worker& worker) {
  return worker.entry() ? worker.entry()->name : std::string();
}

/// The entry that a worker serves, as `settings` has it now; null if there is none any more.
const ClientEntry* sameEntry(const Settings& settings, const Worker& worker) {
  if (!worker.entry()) return nullptr;
  for (const ClientEntry& entry : settings.configuration.clients) {
    if (entry.name == worker.entry()->name) return &entry;
  }
  return nullptr;
}

}  // namespace

Workers::Workers(EventLoop& loop, WorkerStarter& starter, Tally& tally, Listener listener,
                 Times times)
    : loop_(loop), starter_(starter), tally_(tally), listener_(std::move(listener)), times_(times) {
  starter_.setListener(
      {[this](Worker::Id id, WorkerStarter::Started process) { started(id, std::move(process)); },
       [this](Worker::Id id, const std::string& why) { failed(id, why); },
       [this](Worker::Id id, const std::string& how) { ended(id, how); }});
}

Workers::~Workers() = default;

Worker* Workers::byId(Worker::Id id) {
  const auto found = workers_.find(id);
  return found == workers_.end() ? nullptr : found->second.get();
}

Worker* Workers::find(const Settings& settings, const ClientEntry* entry) {
  idle_ = seconds(settings.configuration.limits.workerIdleSeconds);
  most_ = settings.configuration.limits.workers;
  const std::string key = keyOf(entry);
  if (const auto known = current_.find(key); known != current_.end()) return byId(known->second);
  const auto held = heldUntil_.find(key);
  if (held != heldUntil_.end() && Clock::now() < held->second) return nullptr;
  heldUntil_.erase(key);
  const Worker::Id id = ++lastId_;
  workers_[id] = std::make_unique<Worker>(
      loop_, id, welcomeFor(settings, entry), entry ? std::optional(*entry) : std::nullopt,
      Worker::Listener{[this](Worker& from, Message message) { said(from, std::move(message)); },
                       [this](Worker& from, const std::string& why) { gone(from, why); }});
  current_[key] = id;
  if (processes_.size() < most_) {
    requestStart(id);
  } else {
    waiting_.push_back(id);
    makeRoom();
    loop_.after(times_.room, [this, id] {
      Worker* worker = byId(id);
      if (!worker || processes_.count(id)) return;
      spdlog::warn("no worker for {}: there are as many as there may be", worker->client());
      lose(*worker);
    });
  }
  return byId(id);
}

void Workers::requestStart(Worker::Id id) {
  const Worker& worker = *byId(id);
  processes_[id] = {worker.client(), 0, false, 0};
  starter_.start(id, keyOf(worker));
}

/// Ends workers that nobody uses, one for each that waits.
void Workers::makeRoom() {
  std::size_t ending = 0;
  for (const auto& [id, process] : processes_) ending += process.asked ? 1 : 0;
  while (ending < waiting_.size() && !idleTimers_.empty()) {
    const Worker::Id id = idleTimers_.begin()->first;
    spdlog::info("worker {} ends: others wait for room", byId(id)->pid());
    end(id);
    ++ending;
  }
}

void Workers::startWaiting() {
  while (!waiting_.empty() && processes_.size() < most_) {
    const Worker::Id id = waiting_.front();
    waiting_.pop_front();
    if (byId(id)) requestStart(id);
  }
}

void Workers::started(Worker::Id id, WorkerStarter::Started process) {
  const auto found = processes_.find(id);
  if (found == processes_.end()) return;
  found->second.pid = process.pid;
  ++tally_.workerStarts;
  spdlog::info("worker {} for {} started", process.pid, found->second.client);
  const std::string trouble = process.trouble;
  Worker* worker = byId(id);
  if (!worker) return starter_.kill(id);
  worker->begin(std::move(process));
  if (trouble.empty()) return;
  spdlog::error("worker {} for {} has no rights: {}", worker->pid(), worker->client(), trouble);
  loop_.after(times_.hold, [this, id] {  // what was wrong may be mended by then
    if (Worker* refusing = byId(id)) retire(*refusing);
  });
}

void Workers::failed(Worker::Id id, const std::string& why) {
  const auto found = processes_.find(id);
  if (found == processes_.end()) return;
  spdlog::error("no worker for {}: {}", found->second.client, why);
  loop_.cancel(found->second.killer);
  processes_.erase(found);
  if (Worker* worker = byId(id)) {
    heldUntil_[keyOf(*worker)] = Clock::now() + times_.hold;
    lose(*worker);
  }
  startWaiting();
}

void Workers::ended(Worker::Id id, const std::string& how) {
  const auto found = processes_.find(id);
  if (found == processes_.end()) return;
  const Process process = found->second;
  processes_.erase(found);
  if (Worker* worker = byId(id)) worker->hearOut();  // its last words may still lie in its socket
  loop_.cancel(process.killer);
  ++tally_.workerEnds[process.asked ? "asked" : "unasked"];
  const auto level = process.asked ? spdlog::level::info : spdlog::level::err;
  spdlog::log(level, "worker {} for {} ended: {}", process.pid, process.client, how);
  startWaiting();
  if (processes_.empty()) listener_.allEnded();
}

void Workers::attach(Worker& worker, std::uint64_t connection) {
  worker.connections.insert(connection);
  const auto timer = idleTimers_.find(worker.id());
  if (timer == idleTimers_.end()) return;
  loop_.cancel(timer->second);
  idleTimers_.erase(timer);
}

void Workers::detach(Worker::Id id, std::uint64_t connection) {
  Worker* worker = byId(id);
  if (!worker || worker->connections.erase(connection) == 0) return;
  if (worker->connections.empty()) armIdle(*worker);
}

void Workers::armIdle(Worker& worker) {
  if (!isCurrent(worker) || !waiting_.empty()) return end(worker.id());
  const Worker::Id id = worker.id();
  idleTimers_[id] = loop_.after(idle_, [this, id] {
    idleTimers_.erase(id);
    if (const Worker* idle = byId(id)) spdlog::info("worker {} ends: idle", idle->pid());
    end(id);
  });
}

void Workers::end(Worker::Id id) {
  Worker* worker = byId(id);
  if (!worker || worker->ending) return;
  if (processes_.count(id) == 0) return lose(*worker);  // it waits for room
  worker->finish();
  stopTaking(*worker);
  killLater(id, times_.end, true);
  listener_.gone(*worker);
}

bool Workers::isCurrent(const Worker& worker) const {
  const auto current = current_.find(keyOf(worker));
  return current != current_.end() && current->second == worker.id();
}

void Workers::retire(Worker& worker) {
  stopTaking(worker);
  if (worker.connections.empty()) end(worker.id());
}

void Workers::reconsider(const Settings& settings) {
  idle_ = seconds(settings.configuration.limits.workerIdleSeconds);
  most_ = settings.configuration.limits.workers;
  heldUntil_.clear();
  std::vector<Worker::Id> ids;
  for (const auto& [id, worker] : workers_) ids.push_back(id);
  for (const Worker::Id id : ids) {
    Worker* worker = byId(id);
    if (!worker || worker->ending) continue;
    const ClientEntry* entry = sameEntry(settings, *worker);
    const bool other = worker->entry() && (!entry || *entry != *worker->entry());
    if (other) {
      spdlog::info("worker {} ends: the entry of {} changed", worker->pid(), worker->client());
      end(id);
    } else if (welcomeFor(settings, entry) != worker->welcome()) {
      retire(*worker);
    }
  }
}

void Workers::drain(seconds limit) {
  for (const auto& [id, timer] : idleTimers_) loop_.cancel(timer);
  idleTimers_.clear();
  current_.clear();
  for (const Worker::Id id : std::exchange(waiting_, {})) {
    if (Worker* worker = byId(id)) lose(*worker);
  }
  for (const auto& [id, worker] : workers_) {
    (void)worker->send(Drain{static_cast<std::uint32_t>(limit.count())});  // else it is killed
    killLater(id, limit + times_.end, true);
  }
}

void Workers::killAll() {
  for (const auto& [id, process] : processes_) starter_.kill(id);
}

void Workers::killLater(Worker::Id id, milliseconds delay, bool asked) {
  const auto found = processes_.find(id);
  if (found == processes_.end()) return;  // its end was seen before its socket's
  Process& process = found->second;
  process.asked = process.asked || asked;
  loop_.cancel(process.killer);
  process.killer = loop_.after(delay, [this, id] {
    spdlog::warn("worker {} does not end: killed", processes_.at(id).pid);
    starter_.kill(id);
  });
}

/// A worker that has no process, and gets none.
void Workers::lose(Worker& worker) {
  listener_.gone(worker);
  forget(worker);
}

void Workers::said(Worker& worker, Message message) {
  if (std::holds_alternative<Ready>(message)) {
    worker.ready = true;
    if (worker.connections.empty()) armIdle(worker);
  } else if (auto* counters = std::get_if<Counters>(&message)) {
    worker.counters = std::move(*counters);
  } else if (const auto* dial = std::get_if<Dial>(&message)) {
    listener_.dial(worker, *dial);
  } else if (const auto* audit = std::get_if<Audit>(&message)) {
    listener_.audit(worker, *audit);
  } else if (const auto* line = std::get_if<Log>(&message)) {
    log(worker, *line);
  }
}

void Workers::log(const Worker& worker, const Log& line) const {
  constexpr spdlog::level::level_enum kLevels[] = {spdlog::level::debug, spdlog::level::info,
                                                   spdlog::level::warn, spdlog::level::err};
  spdlog::log(kLevels[static_cast<std::size_t>(line.level)], "worker {} for {}: {}", worker.pid(),
              worker.client(), printable(line.text));
}

void Workers::gone(Worker& worker, const std::string& why) {
  if (!why.empty()) {
    spdlog::error("worker {} for {} sent {}: ended", worker.pid(), worker.client(), why);
    starter_.kill(worker.id());
  }
  if (!worker.ready && !worker.ending) heldUntil_[keyOf(worker)] = Clock::now() + times_.hold;
  killLater(worker.id(), times_.end, false);
  listener_.gone(worker);
  forget(worker);
}

void Workers::forget(Worker& worker) {
  stopTaking(worker);
  add(tally_.pastWorkers[worker.client()], worker.counters);
  workers_.erase(worker.id());
}

/// From here on it is given no connection.
void Workers::stopTaking(Worker& worker) {
  if (const auto timer = idleTimers_.find(worker.id()); timer != idleTimers_.end()) {
    loop_.cancel(timer->second);
    idleTimers_.erase(timer);
  }
  if (isCurrent(worker)) current_.erase(keyOf(worker));
}

void Workers::forEach(const std::function<void(const Worker&)>& each) const {
  for (const auto& [id, worker] : workers_) each(*worker);
}

}  // namespace HOQ::agent
