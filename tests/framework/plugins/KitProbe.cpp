#include "framework/plugins/KitProbe.h"

#include <hoq/HOQFunctionality.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQLibFunctionality.h>

extern "C" HOQ_EXPORT void probeKits(HOQ::test::KitAddresses* seen) {
  using namespace HOQ;
  seen->lib = &HOQFunctionality<HOQLibFunctionality>::kit();
  seen->haul = &HOQFunctionality<HOQHaulControlFactory>::kit();
  seen->host = &HOQFunctionality<test::HostKit>::kit();
  seen->plugin = &HOQFunctionality<test::PluginKit>::kit();
  seen->hostConstructions = test::HostKit::constructions;
  seen->pluginConstructions = test::PluginKit::constructions;
}
