#include <hoq/HOQHaulControl.h>

#include <optional>
#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulSerializerBaseAgentPrototype.h>
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQResultCodes.h>

#include "ConnectionOutcome.h"
#include "KeptEnd.h"

namespace HOQ {
namespace {

constexpr const char* kHere = "local:";

// Opens channels as another connector does, and keeps the channel: how it ended is part of the
// transfer's outcome.
class KeepingConnector final : public HOQConnectorPrototype {
 public:
  explicit KeepingConnector(HOQConnectorPtr connector) : connector_(std::move(connector)) {}

  HOQChannelPtr connect(const HOQConnectionInfo& connection) override {
    channel = connector_->connect(connection);
    return channel;
  }

  HOQChannelPtr channel;

 private:
  const HOQConnectorPtr connector_;
};

// The stand-in for an end on another node, or null for an end in this process.
const HOQHaulSerializerBaseAgentPrototype* standIn(const HOQHaulSerializerBasePrototype* end) {
  return dynamic_cast<const HOQHaulSerializerBaseAgentPrototype*>(end);
}

// What the outcome of a call to another node is to the caller of a transfer; 0: nothing special.
int nodeCode(int code) {
  if (code == kAccessRefused || code == kNodeRefused) return kNodeRefused;
  return code == kNodeUnreachable ? kNodeUnreachable : 0;
}

int nodeCode(const HOQHaulSerializerBasePrototype* end) {
  const auto* const found = standIn(end);
  return found != nullptr ? nodeCode(found->firstFailure()) : 0;
}

// -1, with a text unless there is one already.
int refuse(const std::string& text) {
  if (getErrorMessage().empty()) setErrorMessage("%s", text);
  return -1;
}

const std::string& firstOf(const std::string& text, const std::string& other) {
  return text.empty() ? other : text;
}

}  // namespace

// Judges a transfer and takes it down, in an order in which nobody waits for what is gone: the
// channel is given up before a receiver is joined, and all are joined before anything is destroyed.
class HOQHaulControl::Ending {
 public:
  explicit Ending(HOQHaulControl& control) : control_(control) {}

  /// Only where an exception passes by.
  ~Ending() {
    if (ended_) return;
    try {
      fail(-1, "The transfer was abandoned");
      takeDown();
    } catch (...) {  // the first one passes on
    }
  }

  /// Ends the transfer whose run ended with `code`. The result of start().
  int end(int code) {
    judgeRun(code);
    takeDown();
    ended_ = true;
    if (code_ == 0)
      clearErrorMessage();
    else
      setErrorMessage("%s", text_);
    return code_;
  }

 private:
  void judgeRun(int code) {
    const std::string said = getErrorMessage();
    const std::string cause = channel() ? channel()->failure() : std::string();
    // A failure without a code was noticed by an end that the channel had failed: its cause first.
    if (code != 0)
      fail(code, firstOf(said, cause));
    else if (!said.empty() || !cause.empty())
      fail(-1, firstOf(cause, said));
  }

  void takeDown() {
    finish(control_.serializer.get());
    finish(control_.deserializer.get());
    if (channel()) channel()->release();
    control_.connector.reset();
    control_.serializer.reset();
    control_.deserializer.reset();
    control_.connection = HOQConnectionInfo();
  }

  void finish(HOQHaulSerializerBasePrototype* end) {
    if (end == nullptr) return;
    clearErrorMessage();
    const int code = end->finish();
    if (code != 0 || !getErrorMessage().empty()) fail(-1, getErrorMessage());
  }

  // The first failure counts, and ends the channel.
  void fail(int code, const std::string& text) {
    if (code_ != 0) return;
    code_ = code;
    for (const int special : {nodeCode(connectionOutcome()), nodeCode(control_.deserializer.get()),
                              nodeCode(control_.serializer.get())})
      if (special != 0) code_ = special;
    text_ = text.empty() ? "The transfer failed with " + std::to_string(code) : text;
    if (!channel()) return;
    channel()->giveUp(text_);
    channel()->release();
  }

  HOQChannelPtr channel() const {
    const auto* const keeper = static_cast<const KeepingConnector*>(control_.connector.get());
    return keeper != nullptr ? keeper->channel : HOQChannelPtr();
  }

  HOQHaulControl& control_;
  int code_ = 0;
  std::string text_;
  bool ended_ = false;
};

HOQHaulControl::HOQHaulControl(HOQAccessProviderPtr access)
    : HOQRequestModificatorLocal(std::move(access)) {}
HOQHaulControl::~HOQHaulControl() = default;

int HOQHaulControl::checkConnectionParams(const HOQConnectionInfo& connection, HOQEID& eid) {
  if (!connection.target.empty() && connection.target != kHere) return -1;
  eid = nodeEID();
  return 0;
}

int HOQHaulControl::start(const HOQConnectionInfo& source, HOQHaulParamsPtr sourceParams,
                          const HOQConnectionInfo& destination,
                          HOQHaulParamsPtr destinationParams) {
  clearErrorMessage();
  noteConnectionOutcome(0);
  HOQEID here;
  if (checkConnectionParams(source, here) != 0)
    return refuse("Cannot send from \"" + source.target + "\": a transfer starts at this node");
  Ending ending(*this);
  connection = destination;
  int code = setUp(sourceParams, destinationParams);
  if (code == 0) code = process();
  return ending.end(code);
}

int HOQHaulControl::goAhead(HOQHaulParamsPtr sourceParams, const HOQConnectionInfo& destination,
                            HOQHaulParamsPtr destinationParams, bool contents) {
  if (!mayGoAhead_) return -1;
  clearErrorMessage();
  connection = destination;
  deserializer = createDeserializer();
  auto* const far = dynamic_cast<HOQHaulSerializerBaseAgentPrototype*>(deserializer.get());
  mayGoAhead_ = far != nullptr;
  int code = -1;
  std::optional<std::string> taken;
  if (far != nullptr && far->init(connection, std::move(destinationParams)) == 0 &&
      (!contents || takeAhead(sourceParams, taken.emplace()) == 0)) {
    code = far->sendWhole(ahead_, std::move(taken));
    mayGoAhead_ = ahead_ != nullptr;
  }
  if (code == 0) ++underWay_;
  deserializer.reset();
  connection = HOQConnectionInfo();
  clearErrorMessage();
  return code;
}

/// What the sending end sends. Other than 0: it cannot be sent so, for whatever reason.
int HOQHaulControl::takeAhead(const HOQHaulParamsPtr& params, std::string& contents) {
  serializer = createSerializer();
  const boost::intrusive_ptr<KeptEnd> kept(new KeptEnd(kMostAhead));
  int code = -1;
  if (serializer && standIn(serializer.get()) == nullptr &&
      serializer->init(connection, params) == 0) {
    code = serializer->create();
    if (code == 0) code = serializer->copy(kept);
    const int finished = serializer->finish();
    if (finished != 0 || !getErrorMessage().empty() || !kept->failure().empty()) code = -1;
  }
  serializer.reset();
  contents = kept->take();
  return code;
}

HOQHaulOutcome HOQHaulControl::settle() {
  HOQHaulOutcome outcome = ahead_->await();
  --underWay_;
  if (outcome.code == 0) return outcome;
  ahead_.reset();
  underWay_ = 0;
  if (const int special = nodeCode(outcome.code); special != 0) outcome.code = special;
  return outcome;
}

int HOQHaulControl::setUp(const HOQHaulParamsPtr& sourceParams,
                          const HOQHaulParamsPtr& destinationParams) {
  serializer = createSerializer();
  if (!serializer) return refuse("The sending end of the transfer cannot be made");
  deserializer = createDeserializer();
  if (!deserializer)
    return refuse(connection.target.empty() ? "No node is named to send to"
                                            : "The receiving end of the transfer cannot be made");
  const bool sourceIsRemote = standIn(serializer.get()) != nullptr;
  if (sourceIsRemote && standIn(deserializer.get()) != nullptr)
    return refuse("Cannot send from another node to another: one end must be this node");
  if (serializer->init(connection, sourceParams) != 0 || serializer->create() != 0)
    return refuse("The sending end of the transfer cannot be set up");
  if (deserializer->init(connection, destinationParams) != 0 || deserializer->create() != 0)
    return refuse("The receiving end of the transfer cannot be set up");
  HOQConnectorPtr opened = sourceIsRemote ? serializer->createConnectorFromSelf()
                                          : deserializer->createConnectorFromSelf();
  if (!opened) return refuse("No data channel can be opened");
  connector.reset(new KeepingConnector(std::move(opened)));
  return 0;
}

}  // namespace HOQ
