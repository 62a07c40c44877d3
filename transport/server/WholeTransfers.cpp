#include "server/WholeTransfers.h"

#include <hoq/HOQErrorMessage.h>

#include <exception>
#include <utility>

#include "server/WholeEnd.h"

namespace HOQ::transport {
namespace {

constexpr char kStart[] = "start_copying";
constexpr char kWait[] = "wait_copying_finish";
constexpr char kFinish[] = "finish";

}  // namespace

void WholeTransfers::run(Item item) {
  if (failure_) return;
  const auto began = std::chrono::steady_clock::now();
  (void)item.create.admit(ledger_);
  CallRecord record = item.create.record(ledger_);
  record.bytesIn = item.data ? item.data->size() : 0;
  Ledger::Held held = Ledger::Held::kNone;
  if (item.create.isAdmitted) {
    ledger_.began();
    held = Ledger::Held::kRunning;
  }
  try {
    failure_ = attempt(item);
  } catch (const std::exception&) {  // memory is exhausted; what was begun is counted as ended
    failure_ = Failure{kStart, -1, "The transfer broke off on the node"};
  }
  if (failure_) {
    record.code = failure_->code;
    record.trouble = failure_->text;
  } else {
    ++done_;
  }
  using std::chrono::microseconds;
  record.took = std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - began);
  ledger_.count(record, held);
  untold_.push_back(std::move(record));
}

std::optional<WholeTransfers::Failure> WholeTransfers::attempt(Item& item) {
  if (!item.create.isAdmitted) return Failure{kStart, -1, item.create.trouble};
  if (!item.create.isReadable)
    return Failure{kStart, -1, "The parameters are nested too deeply, or not whole"};
  HOQChannelEndPtr end(new WholeEnd(item.data ? std::move(*item.data) : std::string()));
  HOQStageService service;
  int code = service.create(item.create.functional, item.create.params);
  if (code == 0) code = service.call(kStart, end);
  if (code != 0) return Failure{kStart, code, getErrorMessage()};
  std::optional<Failure> failure;
  if (item.data && (code = service.call(kWait, HOQChannelEndPtr())) != 0)
    failure = Failure{kWait, code, getErrorMessage()};
  code = service.finish();
  if (code != 0 && !failure) failure = Failure{kFinish, code, getErrorMessage()};
  return failure;
}

std::uint32_t WholeTransfers::takeDone() { return std::exchange(done_, 0); }

void WholeTransfers::tell() {
  for (const CallRecord& each : untold_) ledger_.tell(each);
  untold_.clear();
}

}  // namespace HOQ::transport
