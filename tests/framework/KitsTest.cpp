#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hoq/HOQFiler.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQLibFunctionality.h>

#include <string>
#include <vector>

#include "framework/plugins/KitProbe.h"

namespace HOQ {
namespace {

using test::KitAddresses;

// What a library that is loaded with names of its own sees. It stays loaded: kits do.
KitAddresses seenBy(const std::string& probe) {
  KitAddresses seen = {};
  void* const library =
      dlopen((HOQ_TEST_PLUGINS "/lib" + probe + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    ADD_FAILURE() << dlerror();
    return seen;
  }
  const auto probeKits = reinterpret_cast<void (*)(KitAddresses*)>(dlsym(library, "probeKits"));
  probeKits(&seen);
  return seen;
}

TEST(Kits, AreTheSameForTheProgramAndForEveryPlugin) {
  for (const char* const probe : {"kitProbeA", "kitProbeB"}) {
    const KitAddresses seen = seenBy(probe);
    EXPECT_EQ(seen.lib, &HOQFunctionality<HOQLibFunctionality>::kit());
    EXPECT_EQ(seen.haul, &HOQFunctionality<HOQHaulControlFactory>::kit());
    EXPECT_EQ(seen.host, &HOQFunctionality<test::HostKit>::kit());
    EXPECT_EQ(seen.hostConstructions, 1);
  }
}

TEST(Kits, OfPluginsOnlyAreSharedAmongThem) {
  const KitAddresses first = seenBy("kitProbeA");
  const KitAddresses second = seenBy("kitProbeB");
  ASSERT_NE(first.plugin, nullptr);
  EXPECT_EQ(first.plugin, second.plugin);
  EXPECT_EQ(first.pluginConstructions, 1);
  EXPECT_EQ(second.pluginConstructions, 1);
}

TEST(Kits, HaveTheirMultiplexersInTheTablesOrder) {
  std::vector<const void*> places;
  HOQHaulControlFactory& hauls = HOQFunctionality<HOQHaulControlFactory>::kit();
#define PLACE(Name, ...) places.push_back(&hauls.get##Name##Multiplexer());
  HOQ_HAUL_FUNCTIONALS(PLACE)
#undef PLACE
  ASSERT_EQ(places, (std::vector<const void*>{&hauls.getFileControlMultiplexer(),
                                              &hauls.getFileSerializerMultiplexer(),
                                              &hauls.getFileDeserializerMultiplexer()}));
  for (std::size_t i = 1; i < places.size(); ++i) EXPECT_LT(places[i - 1], places[i]);
}

TEST(Kits, HoldNoFactoryUntilAPluginRegistersOne) {
  auto& filers = HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer();
  auto& hauls = HOQFunctionality<HOQHaulControlFactory>::kit();
  EXPECT_FALSE(filers.findLocalFactory(""));
  EXPECT_FALSE(filers.findAgentFactory(""));
  EXPECT_FALSE(filers.createLocal("", HOQAccessProviderPtr()));
  EXPECT_FALSE(hauls.getFileControlMultiplexer().findLocalFactory(""));
}

class OtherFactory : public HOQFunctionalFactoryLocal<boost::shared_ptr<HOQFiler>> {
 public:
  boost::shared_ptr<HOQFiler> createNew(HOQAccessProviderPtr) const override { return {}; }
};

TEST(Kits, NameTheFunctionalOfARegistrationThatIsRefused) {
  auto& filers = HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer();
  const boost::shared_ptr<OtherFactory> factory(new OtherFactory);
  filers.registerLocalFactory("kits test", factory);
  try {
    filers.registerLocalFactory("kits test", factory);
    ADD_FAILURE() << "registered twice";
  } catch (const std::invalid_argument& problem) {
    EXPECT_STREQ(problem.what(), "Filer, local factory \"kits test\": the name is taken");
  }
  filers.unregisterLocalFactory("kits test");
}

}  // namespace
}  // namespace HOQ
