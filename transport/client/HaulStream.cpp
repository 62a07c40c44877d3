#include "client/HaulStream.h"

#include <grpc/support/time.h>
#include <grpcpp/channel.h>
#include <hoq/HOQAccessChecker.h>
#include <hoq/v1/haul.grpc.pb.h>

#include <utility>

#include "codec/Elements.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;

/// What an event of the queue is of.
enum Tag : char { kWrote, kGot, kFinished, kAlarm };
char tags[] = {kWrote, kGot, kFinished, kAlarm};  // only their addresses count

void* tagOf(Tag tag) { return &tags[tag]; }

// What goes whole is gathered up to this, since a message costs more than what is in it.
constexpr int kGathered = 16;
constexpr std::size_t kGatheredBytes = 64 * 1024;

/// A deadline that is just passing would be rounded up to a millisecond of waiting.
gpr_timespec timeOf(std::chrono::steady_clock::time_point deadline) {
  const auto left = deadline - std::chrono::steady_clock::now();
  if (left.count() <= 0) return gpr_inf_past(GPR_CLOCK_REALTIME);
  return gpr_time_add(
      gpr_now(GPR_CLOCK_REALTIME),
      gpr_time_from_nanos(std::chrono::duration_cast<std::chrono::nanoseconds>(left).count(),
                          GPR_TIMESPAN));
}

}  // namespace

HaulStream::HaulStream(const std::shared_ptr<grpc::Channel>& channel,
                       std::chrono::milliseconds idle)
    : TransferStream(idle) {
  context_.set_initial_metadata_corked(true);  // it goes with the first message
  wire_ = wire::Haul::NewStub(channel)->PrepareAsyncTransfer(&context_, &queue_);
  wire_->StartCall(nullptr);
}

HaulStream::~HaulStream() {
  context_.TryCancel();
  alarm_.Cancel();
  queue_.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (queue_.Next(&tag, &ok)) {
  }
}

bool HaulStream::usable() {
  Lock lock(mutex_);
  glance(lock);
  return !over_ && !open_;
}

void HaulStream::startWrite(const wire::HaulRequest& message) {
  wire_->Write(message, tagOf(kWrote));
}

void HaulStream::startRead(wire::HaulReply* message) { wire_->Read(message, tagOf(kGot)); }

bool HaulStream::step(Lock& lock, Clock::time_point deadline) {
  if (pumping_) return changed_.wait_until(lock, deadline) == std::cv_status::no_timeout;
  return pump(lock, deadline);
}

/// Takes one event of the wire. False: none came until `deadline`.
bool HaulStream::pump(Lock& lock, Clock::time_point deadline) {
  pumping_ = true;
  lock.unlock();
  void* tag = nullptr;
  bool ok = false;
  const bool came =
      queue_.AsyncNext(&tag, &ok, timeOf(deadline)) == grpc::CompletionQueue::NextStatus::GOT_EVENT;
  if (came && tag == tagOf(kWrote)) wrote(ok);
  if (came && tag == tagOf(kGot)) got(ok);
  lock.lock();
  if (came && tag == tagOf(kAlarm)) alarmed_ = false;
  if (came && tag == tagOf(kFinished)) finished_ = true;
  pumping_ = false;
  changed_.notify_all();  // another one goes on
  return came;
}

void HaulStream::glance(Lock& lock) {
  while (!pumping_ && pump(lock, Clock::now())) {
  }
}

void HaulStream::settle(Lock& lock, std::chrono::milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while ((dirty_ || writing_) && !over_ && !pumping_ && Clock::now() < deadline)
    (void)pump(lock, deadline);
}

void HaulStream::wake() {
  changed_.notify_all();
  if (!pumping_ || alarmed_) return;
  alarmed_ = true;
  alarm_.Set(&queue_, std::chrono::system_clock::now(), tagOf(kAlarm));
}

bool HaulStream::takeTail(wire::HaulReply& message, Lock&) {
  if (message.has_stage()) stageResult_ = std::move(*message.mutable_stage());
  if (message.has_finish()) finishResult_ = std::move(*message.mutable_finish());
  wholeDone_ += message.whole_done();
  if (message.has_whole_failed()) wholeFailed_ = std::move(*message.mutable_whole_failed());
  return true;
}

/// Asks for the status, once nothing else is asked for.
void HaulStream::streamEnded(Lock&) {
  if (!over_ || reading_ || arming_ || finishing_) return;
  finishing_ = true;
  wire_->Finish(&status_, tagOf(kFinished));
}

bool describe(const std::string& functional, const HOQMessage& params,
              wire::HaulRequest::Create& create) {
  create.set_functional(functional);
  if (!toWire(params, *create.mutable_params())) return false;
  if (const auto client = HOQAccessChecker::getClientContext()) create.set_asked_by(client->name());
  return true;
}

bool HaulStream::begin(const std::string& functional, const HOQMessage& params,
                       std::uint64_t& transfer) {
  wire::HaulRequest::Create create;
  if (!describe(functional, params, create)) return false;
  const Lock lock(mutex_);
  beginTransfer();
  stageResult_.reset();
  finishResult_.reset();
  finishAsked_ = false;
  out_.Clear();
  *out_.mutable_create() = std::move(create);
  transfer = transfer_;
  return true;
}

HaulStream::Answer HaulStream::stage(const std::string& name, bool withChannel, bool thenFinish) {
  Lock lock(mutex_);
  stageResult_.reset();
  wire::HaulRequest::Stage& stage = *out_.mutable_stage();
  stage.set_name(name);
  stage.set_with_channel(withChannel);
  stage.set_then_finish(thenFinish);
  finishAsked_ = thenFinish;
  push(lock);
  rearm(lock);
  return await(lock, stageResult_);
}

void HaulStream::sendWhole(const wire::HaulRequest::Whole& whole) {
  Lock lock(mutex_);
  const std::size_t bytes = whole.ByteSizeLong();
  const auto hasRoom = [&] {
    if (out_.whole_size() == 0) wholeBytes_ = 0;  // it has gone
    return over_ || (out_.whole_size() < kMostWhole && wholeBytes_ + bytes <= kFrame) ||
           out_.whole_size() == 0;
  };
  if (!hasRoom()) push(lock);
  if (!TransferStream::await(lock, hasRoom) || over_) return;  // awaitWhole() will tell
  *out_.add_whole() = whole;
  wholeBytes_ += bytes;
  rearm(lock);
  if (out_.whole_size() < kGathered && wholeBytes_ < kGatheredBytes) return;
  push(lock);
  glance(lock);
}

HaulStream::Answer HaulStream::awaitWhole(std::string& stage) {
  Lock lock(mutex_);
  const auto told = [this] { return wholeDone_ > 0 || wholeFailed_; };
  if (!told() && out_.whole_size() > 0) push(lock);
  rearm(lock);
  const bool inTime = TransferStream::await(lock, [&] { return over_ || told(); });
  if (wholeDone_ > 0) {
    --wholeDone_;
    return {true, 0, ""};
  }
  if (!wholeFailed_) return noAnswer(lock, inTime);
  stage = wholeFailed_->stage();
  return {true, wholeFailed_->result().code(), wholeFailed_->result().text()};
}

HaulStream::Answer HaulStream::finish() {
  Lock lock(mutex_);
  Answer answer{true, 0, ""};
  if (!open_) return answer;
  if (out_.has_create() && !finishAsked_) {  // nothing of it was ever sent
    out_.Clear();
  } else {
    if (!finishAsked_) {
      out_.mutable_finish();
      push(lock);
      rearm(lock);
    }
    answer = await(lock, finishResult_);
  }
  endTransfer();
  return answer;
}

HaulStream::Answer HaulStream::await(Lock& lock, std::optional<Result>& result) {
  const bool inTime = TransferStream::await(lock, [&] { return over_ || result; });
  return result ? Answer{true, result->code(), result->text()} : noAnswer(lock, inTime);
}

HaulStream::Answer HaulStream::noAnswer(Lock& lock, bool inTime) {
  Answer answer;
  if (!inTime) {
    answer.text = stoodStill();
    lose(lock, answer.text);
    context_.TryCancel();
  }
  return answer;
}

void HaulStream::leave() {
  Lock lock(mutex_);
  endTransfer();
  lose(lock, "The transfer was left");
  context_.TryCancel();
}

grpc::Status HaulStream::lostWith() {
  Lock lock(mutex_);
  streamEnded(lock);
  (void)TransferStream::await(lock, [this] { return finished_ || !over_; });
  return finished_ ? status_ : grpc::Status(grpc::StatusCode::UNAVAILABLE, "no answer");
}

}  // namespace HOQ::transport
