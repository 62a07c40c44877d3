// The destructors and default bodies of the framework's interfaces: each class's virtual table
// stands here, once, so that every library of a process shares it.
#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQComplexRequestHandler.h>
#include <hoq/HOQConnectionPrototype.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQFilerBase.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQRequestContext.h>
#include <hoq/HOQRequestHandlerPrototype.h>
#include <hoq/HOQSecurityAttributes.h>

namespace HOQ {

constinit const HOQEID HOQEID::EID_INVALID;

HOQAccessProviderPrototype::~HOQAccessProviderPrototype() = default;
HOQComplexRequestHandler::~HOQComplexRequestHandler() = default;
HOQConnectionPrototype::~HOQConnectionPrototype() = default;
HOQFilerBase::FileOperationControlHandler::~FileOperationControlHandler() = default;
HOQFunctional::~HOQFunctional() = default;
HOQRequestContext::~HOQRequestContext() = default;
HOQSecurityAttributes::~HOQSecurityAttributes() = default;

HOQRequestHandlerPrototype::~HOQRequestHandlerPrototype() = default;
void HOQRequestHandlerPrototype::itemReached() {}

}  // namespace HOQ
