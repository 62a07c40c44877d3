#include "server/FilerCall.h"

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQIdentity.h>
#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQRequestModificator.h>
#include <hoq/HOQResultCodes.h>
#include <unistd.h>

#include <exception>
#include <utility>

#include "codec/Requests.h"
#include "server/EventHandler.h"

namespace HOQ::transport {

namespace wire = hoq::v1;

namespace {

constexpr char kClientGone[] = "The client is gone";

/// The process has one identity, and a client may name no other one, unless it is root's: that
/// could take any. A request in the client's own process is another matter.
bool mayClaim(const HOQUserCredentials& credentials) {
  return ::geteuid() == 0 || isOwnIdentity(credentials);
}

}  // namespace

FilerCall::FilerCall(std::shared_ptr<Ledger> ledger, Pool& pool, CallRecord record)
    : ledger_(std::move(ledger)), pool_(pool), record_(std::move(record)) {
  record_.client = ledger_->settings().client->name();
}

void FilerCall::start(FilerWire* wire, const wire::RequestContext& context, Body body) {
  {
    const Lock lock(mutex_);
    wire_ = wire;
  }
  const Ledger::Admission admission = ledger_->admit();
  if (admission == Ledger::Admission::kTooMany)
    return refuse(wire, {grpc::StatusCode::RESOURCE_EXHAUSTED,
                         "The node is busy: it has as many calls of this client as it takes"});
  if (admission == Ledger::Admission::kGoesDown)
    return refuse(wire, {grpc::StatusCode::UNAVAILABLE, "The node goes down"});
  ledger_->add(this);
  try {
    pool_.submit(this, [self = shared_from_this(), &context, body = std::move(body)] {
      self->ledger_->began();
      self->run(context, body);
    });
  } catch (const std::exception&) {
    ledger_->ended(record_, Ledger::Held::kWaiting);
    end({grpc::StatusCode::RESOURCE_EXHAUSTED, "The node has no thread for the call"});
  }
}

void FilerCall::refuse(FilerWire* wire, const grpc::Status& status) {
  {
    const Lock lock(mutex_);
    wire_ = wire;
  }
  end(status);
}

void FilerCall::run(const wire::RequestContext& context, const Body& body) {
  const HOQAccessChecker::Scope scope(ledger_->settings().client);
  grpc::Status status;
  try {
    wire::FilerEvent last;
    *last.mutable_result() = perform(context, body);
    record_.code = last.result().code();
    (void)send(std::move(last), Haste::kNone);  // a client that is gone misses it
  } catch (const std::exception& error) {
    status = grpc::Status(grpc::StatusCode::INTERNAL, "The operation broke off on the node");
    record_.code = -1;
  }
  {
    const Lock lock(mutex_);
    record_.trouble = trouble_.empty() ? status.error_message() : trouble_;
  }
  record_.took = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - began_);
  // Before the client hears of the end: who asks for the figures then finds the call in them.
  ledger_->ended(record_, Ledger::Held::kRunning);
  end(status);
}

wire::FilerEvent::Result FilerCall::perform(const wire::RequestContext& context, const Body& body) {
  wire::FilerEvent::Result result;
  record_.askedBy = context.asked_by();
  record_.cwd = context.cwd();
  const HOQUserCredentials credentials = fromWire(context.credentials());
  if (!mayClaim(credentials)) {
    result.set_code(kAccessRefused);
    return result;
  }
  const auto filer = HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer().createLocal(
      "", localAccess());
  if (!filer) throw std::runtime_error("no file manager is registered");
  const boost::intrusive_ptr<EventHandler> handler(new EventHandler(*this));
  HOQRequestModificator::of(*filer).sync(handler, "");
  filer->setCwd(context.cwd());
  if (context.has_credentials()) filer->setCred(credentials);
  clearErrorMessage();
  result = body(*filer, *this);
  result.set_error_text(getErrorMessage());
  return result;
}

bool FilerCall::send(wire::FilerEvent&& event, Haste haste) {
  Lock lock(mutex_);
  if (gone_) return false;
  gatheredBytes_ += event.ByteSizeLong();
  *gathered_.add_events() = std::move(event);
  if (haste == Haste::kNow) urgent_ = true;
  if (haste == Haste::kSoon) flushSoon();
  flushIfDue(lock);
  const auto room = [this] { return gone_ || gatheredBytes_ < kMost; };
  if (changed_.wait_for(lock, ledger_->settings().idle, room)) return !gone_;
  gone_ = true;
  trouble_ = "The client took nothing for too long";
  status_ = grpc::Status(grpc::StatusCode::DEADLINE_EXCEEDED, trouble_);
  wire_->cancel();
  return false;
}

bool FilerCall::gone() const {
  const Lock lock(mutex_);
  return gone_;
}

void FilerCall::flushIfDue(Lock& lock) {
  if (!writing_ && (urgent_ || gatheredBytes_ >= kFlush)) flush(lock);
}

/// Makes what is gathered urgent when the last write is long enough ago: a message for each of many
/// small events would cost both sides more than the work that they tell of.
void FilerCall::flushSoon() {
  const auto left = flushed_ + kPace - Clock::now();
  if (left.count() <= 0) urgent_ = true;
  if (urgent_ || alarmed_) return;
  alarmed_ = true;
  alarm_ = std::make_unique<grpc::Alarm>();  // the last one may still be on its way out
  alarm_->Set(std::chrono::system_clock::now() + left, [self = shared_from_this()](bool) {
    Lock lock(self->mutex_);
    self->alarmed_ = false;
    if (self->ended_ || self->gone_ || self->gathered_.events_size() == 0) return;
    self->urgent_ = true;
    self->flushIfDue(lock);
  });
}

/// Begins the next write. The wire is called without the lock; it stays, since the call is not
/// finished while it writes.
void FilerCall::flush(Lock& lock) {
  writing_ = true;
  urgent_ = false;
  gatheredBytes_ = 0;
  flushed_ = Clock::now();
  flight_.Swap(&gathered_);
  gathered_.Clear();
  lock.unlock();
  wire_->write(flight_);
  lock.lock();
}

void FilerCall::wrote(bool ok) {
  Lock lock(mutex_);
  writing_ = false;
  if (!ok) {
    gone_ = true;
    if (trouble_.empty()) trouble_ = kClientGone;
  }
  if (ended_)
    finishNow(lock);
  else if (!gone_)
    flushIfDue(lock);
  changed_.notify_all();
}

void FilerCall::end(const grpc::Status& status) {
  const std::shared_ptr<FilerCall> self = shared_from_this();
  ledger_->remove(this);
  Lock lock(mutex_);
  ended_ = true;
  if (!status.ok()) status_ = status;
  finishNow(lock);
}

/// Finishes the call, unless something is still on its way to the wire, whose end comes back here.
void FilerCall::finishNow(Lock& lock) {
  if (writing_ || arming_ || wire_ == nullptr) return;
  FilerWire* const wire = std::exchange(wire_, nullptr);
  if (gone_ && status_.ok()) status_ = grpc::Status(grpc::StatusCode::CANCELLED, trouble_);
  const grpc::Status status = status_;
  lock.unlock();
  if (status.ok())
    wire->writeAndFinish(gathered_);
  else
    wire->finish(status);
  lock.lock();
}

void FilerCall::cancelled() {
  const std::shared_ptr<FilerCall> self = shared_from_this();
  {
    const Lock lock(mutex_);
    gone_ = true;
    noMore_ = true;
    if (trouble_.empty()) trouble_ = kClientGone;
    changed_.notify_all();
  }
  if (!pool_.withdraw(this)) return;
  record_.code = -1;
  record_.trouble = kClientGone;
  ledger_->ended(record_, Ledger::Held::kWaiting);
  end({grpc::StatusCode::CANCELLED, ""});
}

void FilerCall::breakOff(const char* trouble) {
  const std::shared_ptr<FilerCall> self = weak_from_this().lock();
  if (!self) return;
  const Lock lock(mutex_);
  if (wire_ == nullptr || ended_) return;
  trouble_ = trouble;
  status_ = grpc::Status(grpc::StatusCode::UNAVAILABLE, trouble);
  gone_ = true;
  changed_.notify_all();
  wire_->cancel();
}

void FilerCall::readMessages(FilerWire* wire, std::function<void(wire::UploadRequest*)> first) {
  Lock lock(mutex_);
  wire_ = wire;
  first_ = std::move(first);
  rearm(lock);
}

void FilerCall::rearm(Lock& lock) {
  if (reading_ || noMore_ || gone_ || ended_ || wire_ == nullptr || receivedBytes_ >= kMostReceived)
    return;
  reading_ = arming_ = true;
  lock.unlock();
  wire_->read(&in_);
  lock.lock();
  arming_ = false;
  if (ended_) finishNow(lock);
}

void FilerCall::got(bool ok) {
  Lock lock(mutex_);
  reading_ = false;
  if (first_) {
    const auto first = std::exchange(first_, nullptr);
    lock.unlock();
    first(ok ? &in_ : nullptr);
    lock.lock();
  } else if (ok) {
    receivedBytes_ += in_.ByteSizeLong();
    received_.push_back(std::move(in_));
  }
  if (!ok) noMore_ = true;
  in_.Clear();
  rearm(lock);
  changed_.notify_all();
}

bool FilerCall::receive(wire::UploadRequest& message) {
  Lock lock(mutex_);
  const auto ready = [this] { return !received_.empty() || noMore_ || gone_; };
  if (!changed_.wait_for(lock, ledger_->settings().idle, ready)) {
    gone_ = true;
    trouble_ = "The client sent nothing for too long";
    status_ = grpc::Status(grpc::StatusCode::DEADLINE_EXCEEDED, trouble_);
  }
  if (received_.empty() || gone_) return false;
  message = std::move(received_.front());
  received_.pop_front();
  receivedBytes_ -= message.ByteSizeLong();
  rearm(lock);
  return true;
}

}  // namespace HOQ::transport
