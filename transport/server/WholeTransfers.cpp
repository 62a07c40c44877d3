#include "server/WholeTransfers.h"

#include <hoq/HOQErrorMessage.h>

#include <algorithm>
#include <utility>

#include "server/WholeEnd.h"

namespace HOQ::transport {
namespace {

/// How many run at once: enough that none waits for a thread to wake, and a small part of the calls
/// that the client may make.
std::size_t mostAtOnce(const Ledger& ledger) {
  return static_cast<std::size_t>(std::clamp(ledger.settings().requestsPerClient / 8, 1, 8));
}

constexpr char kStart[] = "start_copying";
constexpr char kWait[] = "wait_copying_finish";
constexpr char kFinish[] = "finish";

}  // namespace

void WholeTransfers::begin(Item item) {
  if (failure_) return;
  if (!keeping_) keeping_.emplace();
  // What is started and no more, a directory, cannot be undone.
  while (!running_.empty() && (!item.data || running_.size() >= mostAtOnce(ledger_)))
    settleOldest();
  if (failure_) return;
  const auto began = std::chrono::steady_clock::now();
  if (item.create.admit(ledger_) == Ledger::Admission::kTooMany && !running_.empty()) {
    settle();  // those before it may have been too many
    if (failure_) return;
    (void)item.create.admit(ledger_);
  }
  Running& one = running_.emplace_back();
  one.began = began;
  one.record = item.create.record(ledger_);
  one.record.bytesIn = item.data ? item.data->size() : 0;
  const bool hasData = item.data.has_value();
  if (start(one, item) && !hasData) settleOldest();
}

/// Starts the last one. False: it has failed, or one before it has.
bool WholeTransfers::start(Running& one, Item& item) {
  int code = -1;
  std::string text = item.create.trouble;
  if (item.create.isAdmitted) {
    ledger_.began();
    one.held = Ledger::Held::kRunning;
    text = "The parameters are nested too deeply, or not whole";
  }
  if (item.create.isAdmitted && item.create.isReadable) {
    const bool hasData = item.data.has_value();
    one.end.reset(new WholeEnd(hasData ? std::move(*item.data) : std::string()));
    one.service = std::make_unique<HOQStageService>();
    code = one.service->create(item.create.functional, item.create.params);
    if (code == 0) code = one.service->call(kStart, one.end);
    if (code != 0) text = getErrorMessage();
    if (!hasData) one.end.reset();  // nothing is received
  }
  if (code == 0) return true;
  Running failed = std::move(one);
  running_.pop_back();
  failed.service.reset();  // what it made is undone
  settle();                // those before it come first
  failed.record.code = code;
  failed.record.trouble = text;
  if (!failure_) failure_ = Failure{kStart, code, std::move(text)};
  ended(failed);
  return false;
}

void WholeTransfers::settle() {
  while (!running_.empty()) settleOldest();
  keeping_.reset();
}

void WholeTransfers::settleOldest() {
  Running one = std::move(running_.front());
  running_.pop_front();
  int code = one.end ? one.service->call(kWait, HOQChannelEndPtr()) : 0;
  if (code != 0) fail(one, kWait, code, getErrorMessage());
  code = one.service->finish();
  if (code != 0 && !failure_) fail(one, kFinish, code, getErrorMessage());
  one.service.reset();
  if (!failure_) ++done_;
  ended(one);
  if (failure_) abandon("A transfer before it has failed");
}

void WholeTransfers::fail(Running& one, const char* stage, int code, std::string text) {
  one.record.code = code;
  one.record.trouble = text;
  failure_ = Failure{stage, code, std::move(text)};
}

void WholeTransfers::abandon(const std::string& trouble) {
  for (Running& one : running_) {
    if (one.service) one.service->undo(trouble);
    one.service.reset();
    one.record.code = -1;
    one.record.trouble = trouble;
    ended(one);
  }
  running_.clear();
  keeping_.reset();
}

void WholeTransfers::ended(Running& one) {
  using std::chrono::microseconds;
  one.record.took =
      std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - one.began);
  ledger_.count(one.record, one.held);
  untold_.push_back(std::move(one.record));
}

std::uint32_t WholeTransfers::takeDone() { return std::exchange(done_, 0); }

void WholeTransfers::tell() {
  for (const CallRecord& each : untold_) ledger_.tell(each);
  untold_.clear();
}

}  // namespace HOQ::transport
