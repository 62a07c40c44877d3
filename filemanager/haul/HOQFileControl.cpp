#include "haul/HOQFileControl.h"

#include <string>
#include <utility>

#include <hoq/HOQAccessAgentPrototype.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQRequestModificator.h>
#include <hoq/HOQResultCodes.h>

#include "haul/HOQFileDeserializerParams.h"

namespace HOQ {
namespace {

const std::string registrationName;  // of the ends: the default ones

constexpr int kNoChannel = -1;
constexpr int kReceiverDidNotStart = -2;
constexpr int kSenderFailed = -3;
constexpr int kReceiverFailed = -4;

HOQHaulControlFactory& transfers() { return HOQFunctionality<HOQHaulControlFactory>::kit(); }

int refuse(const char* what) {
  setErrorMessage("%s is not valid", what);
  return -1;
}

}  // namespace

HOQFileControl::HOQFileControl(HOQAccessProviderPtr access)
    : HOQHaulControl(access), srcAccess(std::move(access)) {}

HOQFileControl::~HOQFileControl() = default;

int HOQFileControl::setAccess(const HOQEID& source, const HOQAccessProviderPtr& sourceAccess,
                              const HOQEID& destination,
                              const HOQAccessProviderPtr& destinationAccess) {
  if (!source.isValid()) return refuse("srcEid");
  if (!destination.isValid()) return refuse("dstEid");
  if (!sourceAccess) return refuse("srcAccess");
  if (!destinationAccess) return refuse("dstAccess");
  srcEid = source;
  srcAccess = sourceAccess;
  dstEid = destination;
  dstAccess = destinationAccess;
  dstTarget.clear();
  return 0;
}

boost::intrusive_ptr<HOQHaulSerializerPrototype> HOQFileControl::createSerializer() {
  return transfers().getFileSerializerAgent(srcEid, srcAccess, registrationName);
}

boost::intrusive_ptr<HOQHaulDeserializerPrototype> HOQFileControl::createDeserializer() {
  if (connection.target.empty()) return {};
  if (!dstTarget.empty() && dstTarget != connection.target) dstAccess.reset();
  if (!dstAccess && !connectDestination()) return {};
  return transfers().getFileDeserializerAgent(dstEid, dstAccess, registrationName);
}

bool HOQFileControl::connectDestination() {
  dstTarget = connection.target;
  if (checkConnectionParams(connection, dstEid) == 0) {
    dstAccess = getAccess();
    return true;
  }
  const HOQAccessAgentPtr agent =
      HOQAccessAgentPrototype::createInstance(nullptr, nullptr, nullptr);
  if (!agent || agent->initializeSync(connection, getProgressHandler()) != 0) return false;
  dstEid = agent->getEID();
  dstAccess = agent;
  return true;
}

int HOQFileControl::codeOf(const HOQHaulOutcome& outcome) {
  if (outcome.code == 0 || outcome.code == kNodeUnreachable || outcome.code == kNodeRefused)
    return outcome.code;
  if (outcome.stage == "start_copying") return kReceiverDidNotStart;
  return outcome.stage == "wait_copying_finish" ? kReceiverFailed : -1;
}

int HOQFileControl::process() {
  const auto sync = [this](auto& end) {
    HOQRequestModificator::of(end).sync(getProgressHandler(), "");
  };
  const HOQChannelPtr channel = connector->connect(connection);
  if (!channel) return kNoChannel;
  sync(*deserializer);
  if (deserializer->startCopying(channel->getDestinationEnd()) != 0) return kReceiverDidNotStart;
  const auto& params = static_cast<const HOQFileDeserializerParams&>(*deserializer->getParams());
  if (!params.isRegular) return 0;
  sync(*serializer);
  if (serializer->copy(channel->getSourceEnd()) != 0) return kSenderFailed;
  sync(*deserializer);
  return deserializer->waitCopyingFinish() == 0 ? 0 : kReceiverFailed;
}

}  // namespace HOQ
