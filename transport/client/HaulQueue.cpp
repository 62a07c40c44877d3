#include "client/HaulQueue.h"

#include <hoq/HOQChannelMemory.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include <utility>

#include "client/HaulStream.h"

namespace HOQ::transport {
namespace {

/// When nothing is said of a transfer, the last that was awaited of it had not come.
constexpr char kAwaited[] = "wait_copying_finish";

}  // namespace

HaulQueue::HaulQueue(std::shared_ptr<Links> links, std::string address, std::string functional)
    : links_(std::move(links)), address_(std::move(address)), functional_(std::move(functional)) {}

HaulQueue::~HaulQueue() {
  if (!stream_) return;
  if (sent_.empty() && !hasFailed_ && stream_->usable())
    link_->putIdle(std::move(stream_));
  else
    stream_->leave();
}

bool HaulQueue::open() {
  link_ = links_->get(address_, unreachable_);
  if (!link_) return false;
  stream_ = isAgain_ ? nullptr : link_->takeIdle();
  if (!stream_) stream_ = std::make_shared<HaulStream>(link_->channel(), channelLimits().idle);
  return true;
}

int HaulQueue::send(const HOQMessage& params, std::optional<std::string> contents) {
  hoq::v1::HaulRequest::Whole whole;
  if (!describe(functional_, params, *whole.mutable_create())) {
    setErrorMessage("The parameters are nested too deep");
    return kFailed;
  }
  if (contents) whole.set_data(std::move(*contents));
  if (!stream_ && !open()) {
    setErrorMessage("%s", unreachable_.text);
    return kFailed;
  }
  stream_->sendWhole(sent_.emplace_back(std::move(whole)));
  return 0;
}

HOQHaulOutcome HaulQueue::await() {
  std::string stage;
  HaulStream::Answer answer = stream_->awaitWhole(stage);
  // The node had ended the stream while nothing was on it, so it has not seen what is under way.
  if (!answer.came && answer.text.empty() && !isAgain_ && stream_->lostWith().ok()) {
    if (!sendAgain()) return {kNodeUnreachable, kAwaited, unreachable_.text};
    answer = stream_->awaitWhole(stage);
  }
  if (!answer.came) return lost(answer.text);
  isAgain_ = false;
  hasFailed_ = hasFailed_ || answer.code != 0;
  sent_.pop_front();
  return {answer.code, std::move(stage), std::move(answer.text)};
}

bool HaulQueue::sendAgain() {
  isAgain_ = true;
  stream_->leave();
  stream_.reset();
  if (!open()) return false;
  for (const auto& each : sent_) stream_->sendWhole(each);
  return true;
}

HOQHaulOutcome HaulQueue::lost(const std::string& text) {
  HOQHaulOutcome outcome{kFailed, kAwaited, "Node \"" + address_ + "\" does not answer: " + text};
  if (!text.empty()) return outcome;
  const grpc::Status status = stream_->lostWith();
  if (!link_->stands()) link_->noteLost();
  outcome.text = outcomeOf(address_, status).text;
  if (outcome.text.empty()) outcome.text = "Node \"" + address_ + "\" ended the transfer";
  return outcome;
}

}  // namespace HOQ::transport
