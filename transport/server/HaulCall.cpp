#include "server/HaulCall.h"

#include <hoq/HOQErrorMessage.h>

#include <exception>
#include <utility>

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;

}  // namespace

HaulCall::HaulCall(std::shared_ptr<Ledger> ledger, Pool& pool, std::string address)
    : TransferStream(ledger->settings().idle),
      ledger_(std::move(ledger)),
      pool_(pool),
      address_(std::move(address)),
      whole_(*ledger_) {}

HaulCall::~HaulCall() = default;

void HaulCall::begin(HaulWire* wire) {
  Lock lock(mutex_);
  wire_ = wire;
  lock.unlock();
  ledger_->add(this);  // from here on it may be told to end
  lock.lock();
  rearm(lock);
}

bool HaulCall::step(Lock& lock, Clock::time_point deadline) {
  return changed_.wait_until(lock, deadline) == std::cv_status::no_timeout;
}

bool HaulCall::takeHead(wire::HaulRequest& message, Lock&) {
  if (!message.has_create()) return true;
  if (busy_ || closed_) return false;
  busy_ = true;
  beginTransfer();
  HaulCreate create = HaulCreate::take(*message.mutable_create(), address_);
  (void)create.admit(*ledger_);
  commands_.emplace_back(std::move(create));
  return true;
}

/// Those behind one that has failed are thrown away.
bool HaulCall::takeWhole(wire::HaulRequest& message) {
  if (message.whole_size() == 0) return true;
  if ((busy_ && wholes_ == 0) || message.whole_size() > kMostWhole) return false;
  for (wire::HaulRequest::Whole& each : *message.mutable_whole()) {
    if (each.data().size() > kFrame) return false;
    if (closed_) continue;
    WholeTransfers::Item item{HaulCreate::take(*each.mutable_create(), address_), std::nullopt};
    if (each.has_data()) item.data = std::move(*each.mutable_data());
    commands_.emplace_back(std::move(item));
    ++wholes_;
    busy_ = true;
  }
  return true;
}

bool HaulCall::takeTail(wire::HaulRequest& message, Lock&) {
  if (!takeWhole(message)) return false;
  if (message.has_stage()) {
    if (!busy_ || wholes_ > 0 || message.stage().name().size() > 256) return false;
    commands_.emplace_back(Stage{std::move(*message.mutable_stage()->mutable_name()),
                                 message.stage().with_channel(), message.stage().then_finish()});
  }
  if (message.has_finish()) {
    if (!busy_ || wholes_ > 0) return false;
    commands_.emplace_back(Finish{});
  }
  return commands_.empty() || running_ || startThread();
}

bool HaulCall::startThread() {
  try {
    pool_.submit(this, [self = shared_from_this()] { self->run(); });
  } catch (const std::exception&) {
    return false;
  }
  running_ = true;
  return true;
}

/// The stream's own end waits until nobody works on it or writes to it.
void HaulCall::streamEnded(Lock& lock) {
  if (!over_ || running_ || writing_ || arming_ || finished_) return;
  finished_ = true;
  HaulWire* const wire = wire_;
  const grpc::Status status = status_;
  lock.unlock();
  ledger_->remove(this);
  uncount();
  wire->finish(status);
  lock.lock();
}

void HaulCall::onCancel() {
  Lock lock(mutex_);
  if (status_.ok()) status_ = grpc::Status(grpc::StatusCode::CANCELLED, "");
  lose(lock, "The other side has left the transfer");
}

void HaulCall::breakOff(const char* trouble) {
  const std::shared_ptr<HaulCall> self = weak_from_this().lock();
  if (!self) return;
  Lock lock(mutex_);
  if (finished_) return;
  breakOff(lock, trouble);
  lose(lock, trouble);
}

void HaulCall::breakOff(Lock&, const char* why) {
  if (status_.ok()) status_ = grpc::Status(grpc::StatusCode::ABORTED, why);
  if (writing_) wire_->cancel();  // a write that is stuck would keep all up
}

void HaulCall::endIfIdle() {
  const std::shared_ptr<HaulCall> self = weak_from_this().lock();
  if (!self) return;
  Lock lock(mutex_);
  if (busy_ || finished_ || dirty_) return;  // a result that waits to be sent is not lost
  uncount();  // now, not when the last of it has gone: another stream waits for its place
  lose(lock, "The stream gives way");  // with status OK
}

void HaulCall::uncount() {
  if (!uncounted_.exchange(true)) ledger_->streamEnded();
}

void HaulCall::run() {
  const HOQAccessChecker::Scope scope(ledger_->settings().client);
  Command command;
  while (nextCommand(command)) {
    try {
      std::visit([this](auto& each) { perform(each); }, command);
    } catch (const std::exception&) {
      breakOff("The transfer broke off on the node");
    }
  }
}

/// False: nothing is left for this thread to do, and the stream may be gone.
bool HaulCall::nextCommand(Command& command) {
  Lock lock(mutex_);
  if (!await(lock, [this] { return over_ || !busy_ || !commands_.empty(); })) {
    status_ = grpc::Status(grpc::StatusCode::DEADLINE_EXCEEDED, stoodStill());
    lose(lock, stoodStill());
  }
  if (over_ && busy_) abandon(lock);
  if (over_ || commands_.empty()) {
    running_ = false;
    streamEnded(lock);
    return false;
  }
  command = std::move(commands_.front());
  commands_.pop_front();
  rearm(lock);
  return true;
}

/// Ends a transfer whose client is gone.
void HaulCall::abandon(Lock& lock) {
  for (const Command& command : commands_)
    if (const auto* create = std::get_if<HaulCreate>(&command)) describe(*create);
  commands_.clear();
  const bool areWhole = std::exchange(wholes_, 0) > 0;
  const std::string trouble =
      status_.error_message().empty() ? "The client is gone" : status_.error_message();
  lock.unlock();
  service_.reset();
  end_.reset();
  if (areWhole) {
    whole_.tell();
  } else {
    report(trouble);
  }
  lock.lock();
  busy_ = false;
  endTransfer();
}

void HaulCall::describe(const HaulCreate& create) {
  record_ = create.record(*ledger_);
  began_ = Clock::now();
  held_ = create.isAdmitted ? Ledger::Held::kWaiting : Ledger::Held::kNone;
}

void HaulCall::perform(HaulCreate& create) {
  describe(create);
  if (create.isAdmitted) {
    ledger_->began();
    held_ = Ledger::Held::kRunning;
  }
  refusalText_ = create.trouble;
  refusal_ = create.isAdmitted ? 0 : -1;
  if (refusal_ == 0 && !create.isReadable) {
    refusal_ = -1;
    refusalText_ = "The parameters are nested too deeply, or not whole";
  }
  if (refusal_ != 0) return;
  service_ = std::make_unique<HOQStageService>();
  refusal_ = service_->create(create.functional, create.params);
  if (refusal_ != 0) refusalText_ = getErrorMessage();
}

void HaulCall::perform(Stage& stage) {
  int code = refusal_;
  std::string text = refusalText_;
  if (code == 0) {
    if (stage.withChannel && !end_) {
      const Lock lock(mutex_);
      end_ = HOQChannelEndPtr(new StreamEnd(shared_from_this(), transfer_));
    }
    code = service_->call(stage.name, stage.withChannel ? end_ : HOQChannelEndPtr());
    text = code == 0 ? std::string() : getErrorMessage();
  }
  if (record_.code == 0) record_.code = code;
  if (record_.trouble.empty()) record_.trouble = text;
  {
    Lock lock(mutex_);
    wire::HaulReply::Result& result = *out_.mutable_stage();
    result.set_code(code);
    result.set_text(text.substr(0, 4096));
    if (!stage.thenFinish) push(lock);
  }
  if (stage.thenFinish) finishTransfer();
}

void HaulCall::perform(Finish&) { finishTransfer(); }

void HaulCall::finishTransfer() {
  const int code = service_ ? service_->finish() : 0;
  const std::string text = code == 0 ? std::string() : getErrorMessage();
  service_.reset();
  if (record_.code == 0) record_.code = code;
  if (record_.trouble.empty()) record_.trouble = text;
  {
    Lock lock(mutex_);
    endTransfer();  // from here on the end is not missed
    record_.bytesIn = bytesIn_;
    record_.bytesOut = bytesOut_;
  }
  end_.reset();
  report("");
  Lock lock(mutex_);
  wire::HaulReply::Result& result = *out_.mutable_finish();
  result.set_code(code);
  result.set_text(text.substr(0, 4096));
  busy_ = false;
  push(lock);
}

void HaulCall::perform(WholeTransfers::Item& item) {
  constexpr std::uint32_t kTold = 16;  // at a time, while there are more to do
  whole_.run(std::move(item));
  Lock lock(mutex_);
  const bool isLast = wholes_ == 1;
  out_.set_whole_done(out_.whole_done() + whole_.takeDone());
  const bool hasFailed = whole_.failure() && !closed_;
  if (hasFailed) {
    wire::HaulReply::Failure& failure = *out_.mutable_whole_failed();
    failure.set_stage(whole_.failure()->stage);
    failure.mutable_result()->set_code(whole_.failure()->code);
    failure.mutable_result()->set_text(whole_.failure()->text.substr(0, 4096));
    closed_ = true;
  }
  const bool isTold = hasFailed || out_.whole_done() >= (isLast ? 1 : kTold);
  if (isLast || isTold) {
    lock.unlock();
    whole_.tell();  // what is written down comes before what the client hears
    lock.lock();
  }
  if (--wholes_ == 0) busy_ = false;  // before the client may send what comes next
  if (isTold) push(lock);
}

void HaulCall::report(std::string trouble) {
  if (!trouble.empty()) {
    record_.trouble = std::move(trouble);
    record_.code = -1;
  }
  record_.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - began_);
  ledger_->ended(record_, std::exchange(held_, Ledger::Held::kNone));
  refusal_ = 0;
}

}  // namespace HOQ::transport
