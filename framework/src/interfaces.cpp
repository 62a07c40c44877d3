// The destructors and default bodies of the framework's interfaces: each class's virtual table
// stands here, once, so that every library of a process shares it.
#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQComplexRequestHandler.h>
#include <hoq/HOQConnectionPrototype.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFilerBase.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQHaulDeserializerPrototype.h>
#include <hoq/HOQHaulQueue.h>
#include <hoq/HOQHaulSerializerPrototype.h>
#include <hoq/HOQRequestContext.h>
#include <hoq/HOQRequestHandlerPrototype.h>
#include <hoq/HOQSecurityAttributes.h>
#include <hoq/HOQStageSession.h>

namespace HOQ {

constinit const HOQEID HOQEID::EID_INVALID;

HOQAccessProviderPrototype::~HOQAccessProviderPrototype() = default;
HOQComplexRequestHandler::~HOQComplexRequestHandler() = default;
HOQConnectionPrototype::~HOQConnectionPrototype() = default;
HOQFilerBase::FileOperationControlHandler::~FileOperationControlHandler() = default;
HOQFunctional::~HOQFunctional() = default;
HOQRequestContext::~HOQRequestContext() = default;
HOQSecurityAttributes::~HOQSecurityAttributes() = default;

HOQChannelEndPrototype::~HOQChannelEndPrototype() = default;
bool HOQChannelEndPrototype::stands() const { return true; }

bool HOQChannelEndPrototype::hasAll() const { return false; }
void HOQChannelEndPrototype::giveUp(const std::string&) {}
std::string HOQChannelEndPrototype::failure() const { return std::string(); }

HOQConnectorPrototype::~HOQConnectorPrototype() = default;
HOQStageSession::~HOQStageSession() = default;
HOQHaulQueue::~HOQHaulQueue() = default;
HOQHaulSerializerBaseParams::~HOQHaulSerializerBaseParams() = default;
HOQHaulSerializerBasePrototype::~HOQHaulSerializerBasePrototype() = default;
HOQHaulSerializerPrototype::~HOQHaulSerializerPrototype() = default;
HOQHaulDeserializerPrototype::~HOQHaulDeserializerPrototype() = default;

HOQStageSessionPtr HOQAccessProviderPrototype::openSession(const std::string& name) {
  setErrorMessage("There is no way to \"%s\" of another node", name);
  return HOQStageSessionPtr();
}

HOQHaulQueuePtr HOQAccessProviderPrototype::openQueue(const std::string&) {
  return HOQHaulQueuePtr();
}

HOQRequestHandlerPrototype::~HOQRequestHandlerPrototype() = default;
bool HOQRequestHandlerPrototype::itemReached() { return true; }
bool HOQRequestHandlerPrototype::takesRecords() const { return false; }
bool HOQRequestHandlerPrototype::kindsSuffice() const { return false; }
bool HOQRequestHandlerPrototype::record(const boost::shared_ptr<HOQFileType>&) { return true; }
bool HOQRequestHandlerPrototype::takesRecordsBelow() const { return false; }
bool HOQRequestHandlerPrototype::recordBelow(const boost::shared_ptr<HOQFileType>&, std::size_t) {
  return true;
}

}  // namespace HOQ
