#include "client/RemoteAccess.h"

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include "client/HaulQueue.h"
#include "client/HaulSession.h"

namespace HOQ::transport {
namespace {

int fail(const std::string& text, int code) {
  setErrorMessage("%s", text);
  return code;
}

}  // namespace

int RemoteAccess::initializeSync(const HOQConnectionInfo& connection, HOQRequestHandlerPtr) {
  NodeOutcome outcome;
  const LinkPtr link = links_->get(connection.target, outcome);
  NodeInfo info;
  if (link && !link->knownInfo(info)) outcome = link->info(info);
  if (outcome.failure == NodeFailure::kBusy) return fail(outcome.text, kFailed);
  if (outcome.failure != NodeFailure::kNone)
    return fail(outcome.text,
                outcome.failure == NodeFailure::kRefused ? kNodeRefused : kNodeUnreachable);
  if (!info.mayRead && !info.mayChange)
    return fail("Node \"" + connection.target + "\" refuses access", kNodeRefused);
  address_ = connection.target;
  eid_ = info.eid;
  return 0;
}

HOQStageSessionPtr RemoteAccess::openSession(const std::string& name) {
  if (address_.empty()) {
    setErrorMessage("There is no connection to a node");
    return HOQStageSessionPtr();
  }
  return HOQStageSessionPtr(new HaulSession(links_, address_, name));
}

HOQHaulQueuePtr RemoteAccess::openQueue(const std::string& name) {
  return address_.empty() ? HOQHaulQueuePtr()
                          : HOQHaulQueuePtr(new HaulQueue(links_, address_, name));
}

}  // namespace HOQ::transport
