// The plugin's two entry points.
#include <boost/smart_ptr/make_shared.hpp>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQFiler.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQVersion.h>

#include "filer/HOQFilerLocal.h"

HOQ_REQUIRES_FRAMEWORK;

namespace {

/// The plugin provides the default implementation of what it implements.
const std::string registrationName = "";

/// Both kits exist before the first entry point is called.
[[maybe_unused]] auto& services = HOQ::HOQFunctionality<HOQ::HOQLibFunctionality>::kit();
[[maybe_unused]] auto& transfers = HOQ::HOQFunctionality<HOQ::HOQHaulControlFactory>::kit();

bool initialised = false;  // never cleared: an init after a fini registers nothing

using FilerFactory =
    HOQ::HOQFunctionalFactoryLocalImpl<boost::shared_ptr<HOQ::HOQFiler>, HOQ::HOQFilerLocal>;

}  // namespace

extern "C" HOQ_EXPORT int initHOQFileManagerLocal() {
  if (initialised) return 0;
  HOQ::HOQFunctionality<HOQ::HOQLibFunctionality>::kit().getFilerMultiplexer().registerLocalFactory(
      registrationName, boost::make_shared<FilerFactory>());
  initialised = true;
  return 0;
}

extern "C" HOQ_EXPORT int finiHOQFileManagerLocal() {
  HOQ::HOQFunctionality<HOQ::HOQLibFunctionality>::kit()
      .getFilerMultiplexer()
      .unregisterLocalFactory(registrationName);
  return 0;
}
