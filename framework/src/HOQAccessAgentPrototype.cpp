#include <hoq/HOQAccessAgentPrototype.h>

#include <atomic>
#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include "ConnectionOutcome.h"

namespace HOQ {
namespace {

std::atomic<HOQTransport*> theTransport = nullptr;  // not owned

thread_local int lastOutcome = 0;

// A transport's agent, with the outcome of its connecting noted.
class NotingAgent final : public HOQAccessAgentPrototype {
 public:
  explicit NotingAgent(HOQAccessAgentPtr agent) : agent_(std::move(agent)) {}

  HOQEID getEID() const override { return agent_->getEID(); }
  HOQStageSessionPtr openSession(const std::string& name) override {
    return agent_->openSession(name);
  }
  HOQHaulQueuePtr openQueue(const std::string& name) override { return agent_->openQueue(name); }
  int initializeSync(const HOQConnectionInfo& connection, HOQRequestHandlerPtr progress) override {
    const int code = agent_->initializeSync(connection, std::move(progress));
    noteConnectionOutcome(code);
    return code;
  }

 private:
  const HOQAccessAgentPtr agent_;
};

}  // namespace

void noteConnectionOutcome(int code) { lastOutcome = code; }
int connectionOutcome() { return lastOutcome; }

HOQTransport::~HOQTransport() = default;
void HOQTransport::registerTransport(HOQTransport* transport) { theTransport = transport; }
HOQTransport* HOQTransport::registered() { return theTransport; }

HOQAccessAgentPtr HOQAccessAgentPrototype::createInstance(HOQEnvironmentCache*, HOQEventLoop*,
                                                          void*) {
  HOQTransport* const transport = HOQTransport::registered();
  HOQAccessAgentPtr agent = transport != nullptr ? transport->createAgent() : HOQAccessAgentPtr();
  if (agent) return HOQAccessAgentPtr(new NotingAgent(std::move(agent)));
  if (transport == nullptr) setErrorMessage("This process has no transport to other nodes");
  noteConnectionOutcome(kNodeUnreachable);
  return HOQAccessAgentPtr();
}

}  // namespace HOQ
