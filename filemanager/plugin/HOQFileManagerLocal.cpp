// The plugin's two entry points.
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQFiler.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQVersion.h>

#include "filer/HOQFilerLocal.h"
#include "haul/HOQFileControl.h"
#include "haul/HOQFileDeserializerAgentPrototype.h"
#include "haul/HOQFileDeserializerLocalPrototype.h"
#include "haul/HOQFileSerializerAgentPrototype.h"
#include "haul/HOQFileSerializerLocalPrototype.h"

HOQ_REQUIRES_FRAMEWORK;

namespace {

using HOQ::HOQFunctionalFactoryAgentImpl;
using HOQ::HOQFunctionalFactoryLocalImpl;
using HOQ::HOQFunctionality;
using HOQ::HOQHaulControlFactory;
using HOQ::HOQLibFunctionality;

/// The plugin provides the default implementation of what it implements.
const std::string registrationName = "";

/// Both kits exist before the first entry point is called.
[[maybe_unused]] auto& services = HOQFunctionality<HOQLibFunctionality>::kit();
[[maybe_unused]] auto& transfers = HOQFunctionality<HOQHaulControlFactory>::kit();

bool initialised = false;  // never cleared: an init after a fini registers nothing

using FilerPtr = boost::shared_ptr<HOQ::HOQFiler>;
using ControlPtr = boost::shared_ptr<HOQ::HOQHaulControl>;
using SerializerPtr = boost::intrusive_ptr<HOQ::HOQHaulSerializerPrototype>;
using DeserializerPtr = boost::intrusive_ptr<HOQ::HOQHaulDeserializerPrototype>;

template <class Result, class Impl>
auto localFactory() {
  return boost::make_shared<HOQFunctionalFactoryLocalImpl<Result, Impl>>();
}

template <class Result, class Impl>
auto agentFactory() {
  return boost::make_shared<HOQFunctionalFactoryAgentImpl<Result, Impl>>();
}

auto& filers() { return HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer(); }
auto& controls() {
  return HOQFunctionality<HOQHaulControlFactory>::kit().getFileControlMultiplexer();
}
auto& serializers() {
  return HOQFunctionality<HOQHaulControlFactory>::kit().getFileSerializerMultiplexer();
}
auto& deserializers() {
  return HOQFunctionality<HOQHaulControlFactory>::kit().getFileDeserializerMultiplexer();
}

}  // namespace

extern "C" HOQ_EXPORT int initHOQFileManagerLocal() {
  if (initialised) return 0;
  filers().registerLocalFactory(registrationName, localFactory<FilerPtr, HOQ::HOQFilerLocal>());
  serializers().registerLocalFactory(
      registrationName, localFactory<SerializerPtr, HOQ::HOQFileSerializerLocalPrototype>());
  controls().registerLocalFactory(registrationName,
                                  localFactory<ControlPtr, HOQ::HOQFileControl>());
  deserializers().registerLocalFactory(
      registrationName, localFactory<DeserializerPtr, HOQ::HOQFileDeserializerLocalPrototype>());
  serializers().registerAgentFactory(
      registrationName, agentFactory<SerializerPtr, HOQ::HOQFileSerializerAgentPrototype>());
  deserializers().registerAgentFactory(
      registrationName, agentFactory<DeserializerPtr, HOQ::HOQFileDeserializerAgentPrototype>());
  initialised = true;
  return 0;
}

extern "C" HOQ_EXPORT int finiHOQFileManagerLocal() {
  filers().unregisterLocalFactory(registrationName);
  serializers().unregisterLocalFactory(registrationName);
  controls().unregisterLocalFactory(registrationName);
  deserializers().unregisterLocalFactory(registrationName);
  serializers().unregisterAgentFactory(registrationName);
  deserializers().unregisterAgentFactory(registrationName);
  return 0;
}
