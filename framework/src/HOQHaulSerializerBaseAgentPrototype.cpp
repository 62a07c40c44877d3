#include <hoq/HOQHaulSerializerBaseAgentPrototype.h>

#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

namespace HOQ {

HOQHaulSerializerBaseAgentPrototype::HOQHaulSerializerBaseAgentPrototype(
    const HOQEID& eid, HOQAccessProviderPtr access, const std::string& functional, int)
    : HOQRequestAgent(eid, std::move(access)), functional_(functional) {}
HOQHaulSerializerBaseAgentPrototype::~HOQHaulSerializerBaseAgentPrototype() = default;

int HOQHaulSerializerBaseAgentPrototype::init(const HOQConnectionInfo&, HOQHaulParamsPtr params) {
  if (!params) {
    setErrorMessage("An end of a transfer has no parameters");
    return -1;
  }
  setParams(std::move(params));
  return 0;
}

int HOQHaulSerializerBaseAgentPrototype::create() {
  if (!getAccess()) {
    setErrorMessage("There is no way to the node of \"%s\"", functional_);
    return -1;
  }
  HOQMessage message;
  if (putParams(message) != 0) return -1;
  session_ = getAccess()->openSession(functional_);
  if (!session_) return outcome(kNodeUnreachable, "create");  // the provider said why
  return outcome(session_->create(message), "create");
}

int HOQHaulSerializerBaseAgentPrototype::putParams(HOQMessage& message) {
  HOQMessageIterator it(message);
  if (serializeParams(getParams(), &it) == 0) return 0;
  setErrorMessage("The parameters of \"%s\" cannot be put into a message", functional_);
  return -1;
}

int HOQHaulSerializerBaseAgentPrototype::sendWhole(HOQHaulQueuePtr& queue,
                                                   std::optional<std::string> contents) {
  HOQMessage message;
  if (!getAccess() || putParams(message) != 0) return -1;
  if (!queue) queue = getAccess()->openQueue(functional_);
  return queue ? queue->send(message, std::move(contents)) : -1;
}

int HOQHaulSerializerBaseAgentPrototype::finish() {
  if (!session_) return 0;
  const HOQStageSessionPtr session = std::exchange(session_, nullptr);
  return outcome(session->finish(), "finish");
}

HOQConnectorPtr HOQHaulSerializerBaseAgentPrototype::createConnectorFromSelf() {
  if (session_) return session_->connector();
  (void)callStage("connect");  // says that there is no session
  return HOQConnectorPtr();
}

int HOQHaulSerializerBaseAgentPrototype::callStage(const char* stage) {
  if (session_) return outcome(session_->call(stage), stage);
  setErrorMessage("\"%s\" of \"%s\" has no session with its node", stage, functional_);
  return -1;
}

int HOQHaulSerializerBaseAgentPrototype::callStageWithHandle(const char* stage,
                                                             HOQChannelEndPtr end) {
  if (session_) return outcome(session_->callWithHandle(stage, std::move(end)), stage);
  return callStage(stage);
}

int HOQHaulSerializerBaseAgentPrototype::outcome(int code, const char* call) {
  if (code == 0) return 0;
  if (firstFailure_ == 0) firstFailure_ = code;
  if (getErrorMessage().empty())
    setErrorMessage("\"%s\" of \"%s\" failed on its node with %d", call, functional_, code);
  return code;
}

}  // namespace HOQ
