#include "server/Ledger.h"

namespace HOQ::transport {

Ledger::Admission Ledger::admit() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (goesDown_ || counters_.active + counters_.waiting >= settings_.requestsPerClient) {
    ++counters_.refused;
    return goesDown_ ? Admission::kGoesDown : Admission::kTooMany;
  }
  ++counters_.waiting;
  return Admission::kYes;
}

void Ledger::began() {
  const std::lock_guard<std::mutex> lock(mutex_);
  --counters_.waiting;
  ++counters_.active;
}

void Ledger::count(const CallRecord& call, Held held) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (held == Held::kRunning) --counters_.active;
    if (held == Held::kWaiting) --counters_.waiting;
    ++counters_.calls[{call.method, call.code}];
    counters_.bytesIn += call.bytesIn;
    counters_.bytesOut += call.bytesOut;
  }
  changed_.notify_all();
}

void Ledger::tell(const CallRecord& call) {
  if (settings_.observer != nullptr) settings_.observer->ended(call);
}

Ledger::Admission Ledger::admitStream() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (goesDown_) return Admission::kGoesDown;
  if (counters_.streams >= settings_.requestsPerClient) {
    ++counters_.refused;
    return Admission::kTooMany;
  }
  ++counters_.streams;
  return Admission::kYes;
}

void Ledger::streamEnded() {
  const std::lock_guard<std::mutex> lock(mutex_);
  --counters_.streams;
}

void Ledger::add(LiveCall* call) {
  const std::lock_guard<std::recursive_mutex> lock(liveMutex_);
  live_.insert(call);
}

void Ledger::remove(LiveCall* call) {
  const std::lock_guard<std::recursive_mutex> lock(liveMutex_);
  live_.erase(call);
}

void Ledger::countConnection() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++counters_.connections;
}

NodeServerCounters Ledger::counters() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return counters_;
}

void Ledger::goDown() {
  const std::lock_guard<std::mutex> lock(mutex_);
  goesDown_ = true;
}

bool Ledger::awaitNone(std::chrono::milliseconds limit) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, limit,
                           [this] { return counters_.active + counters_.waiting == 0; });
}

void Ledger::breakOffAll(const char* trouble) {
  const std::lock_guard<std::recursive_mutex> lock(liveMutex_);
  const std::set<LiveCall*> all = live_;  // a call may leave while it is told
  for (LiveCall* each : all) each->breakOff(trouble);
}

void Ledger::endIdle() {
  const std::lock_guard<std::recursive_mutex> lock(liveMutex_);
  const std::set<LiveCall*> all = live_;
  for (LiveCall* each : all) each->endIfIdle();
}

}  // namespace HOQ::transport
