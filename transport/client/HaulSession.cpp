#include "client/HaulSession.h"

#include <hoq/HOQChannelMemory.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include <string_view>
#include <utility>

#include "client/HaulStream.h"
#include "client/SessionChannel.h"

namespace HOQ::transport {
namespace {

/// Stages after which nothing is left to do but to finish: the node does it in the same turn, which
/// saves a round trip for every item.
constexpr std::string_view kLastStages[] = {"copy", "wait_copying_finish"};

bool isLast(const std::string& stage) {
  for (const std::string_view each : kLastStages)
    if (stage == each) return true;
  return false;
}

int fail(const std::string& text, int code = kFailed) {
  setErrorMessage("%s", text);
  return code;
}

int codeOf(NodeFailure failure) {
  return failure == NodeFailure::kRefused ? kNodeRefused : kNodeUnreachable;
}

/// Leads to the channel of its session, which it keeps.
class SessionConnector final : public HOQConnectorPrototype {
 public:
  explicit SessionConnector(boost::intrusive_ptr<HaulSession> session)
      : session_(std::move(session)) {}
  HOQChannelPtr connect(const HOQConnectionInfo&) override { return session_->connect(); }

 private:
  const boost::intrusive_ptr<HaulSession> session_;
};

}  // namespace

HaulSession::HaulSession(std::shared_ptr<Links> links, std::string address, std::string functional)
    : links_(std::move(links)),
      address_(std::move(address)),
      functional_(std::move(functional)),
      channel_(std::make_shared<SessionChannel>()) {}

HaulSession::~HaulSession() {
  if (stream_) stream_->leave();
}

int HaulSession::create(const HOQMessage& params) {
  if (created_) return fail("A transfer is under way already");
  params_ = params;
  created_ = true;
  return ready();
}

/// 0 when there is a stream with the transfer on it.
int HaulSession::ready() {
  if (!created_) return fail("Nothing was created on node \"" + address_ + "\"");
  return stream_ ? 0 : begin(false);
}

int HaulSession::begin(bool freshStream) {
  NodeOutcome outcome;
  link_ = links_->get(address_, outcome);
  if (!link_) return fail(outcome.text, codeOf(outcome.failure));
  std::shared_ptr<HaulStream> stream = freshStream ? nullptr : link_->takeIdle();
  if (!stream) stream = std::make_shared<HaulStream>(link_->channel(), channelLimits().idle);
  std::uint64_t transfer = 0;
  if (!stream->begin(functional_, params_, transfer))
    return fail("The parameters are nested too deep");
  stream_ = std::move(stream);
  channel_->bind(stream_, transfer);
  return 0;
}

HOQConnectorPtr HaulSession::connector() {
  return HOQConnectorPtr(new SessionConnector(boost::intrusive_ptr<HaulSession>(this)));
}

HOQChannelPtr HaulSession::connect() {
  if (ready() != 0) return HOQChannelPtr();
  return HOQChannelPtr(new SessionEnds(channel_));
}

int HaulSession::call(const std::string& stage) { return run(stage, false); }

int HaulSession::callWithHandle(const std::string& stage, HOQChannelEndPtr end) {
  const auto* const own = dynamic_cast<const SessionEnd*>(end.get());
  if (own == nullptr || own->channel() != channel_)
    return fail("The end of the channel does not lead to node \"" + address_ + "\"");
  if (const int code = ready(); code != 0) return code;
  channel_->handOver(own->number());
  return run(stage, true);
}

int HaulSession::run(const std::string& stage, bool withChannel) {
  if (const int code = ready(); code != 0) return code;
  HaulStream::Answer answer = stream_->stage(stage, withChannel, isLast(stage));
  if (!answer.came && !answered_ && answer.text.empty() && stream_->lostWith().ok()) {
    // The node had ended the stream while nothing was on it, so it has not seen this transfer.
    stream_->leave();
    stream_.reset();
    if (const int code = begin(true); code != 0) return code;
    answer = stream_->stage(stage, withChannel, isLast(stage));
  }
  if (!answer.came) return lost(answer.text);
  answered_ = true;
  return answer.code == 0 ? 0 : fail(answer.text, answer.code);
}

/// What befell the stream. The other side's object ends with it.
int HaulSession::lost(const std::string& text) {
  if (!text.empty()) return fail("Node \"" + address_ + "\" does not answer: " + text);
  const grpc::Status status = stream_->lostWith();
  if (!link_->stands()) link_->noteLost();
  const NodeOutcome outcome = outcomeOf(address_, status);
  return fail(outcome.text.empty() ? "Node \"" + address_ + "\" ended the transfer" : outcome.text);
}

int HaulSession::finish() {
  if (!stream_) return 0;
  const HaulStream::Answer answer = stream_->finish();
  const int code =
      answer.came ? (answer.code == 0 ? 0 : fail(answer.text, answer.code)) : lost(answer.text);
  if (answer.came)
    link_->putIdle(stream_);  // where it is looked at before it is used again
  else
    stream_->leave();
  stream_.reset();
  created_ = false;
  return code;
}

}  // namespace HOQ::transport
