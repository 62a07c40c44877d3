// The built plugin, as a host meets it. Its state is the process's, so each test has a process.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQFiler.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQPluginLoader.h>
#include <unistd.h>

#include <cstdio>
#include <set>
#include <stdexcept>
#include <string>

#include "support/Isolation.h"
#include "support/TempDir.h"
#include "support/Trees.h"

namespace HOQ::test {
namespace {

constexpr char kPlugin[] = HOQ_TEST_PLUGIN;

using EntryPoint = int (*)();

auto& filers() { return HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer(); }

/// An entry point of the plugin, which is loaded already.
EntryPoint entryPoint(const char* name) {
  void* const library = dlopen(kPlugin, RTLD_NOW | RTLD_NOLOAD);
  EXPECT_NE(library, nullptr);
  const auto entry = reinterpret_cast<EntryPoint>(dlsym(library, name));
  EXPECT_NE(entry, nullptr) << name;
  return entry;
}

TEST(Plugin, TheHostFindsTheFactoryThatThePluginRegistered) {
  EXPECT_EQ(inChild([] {
              ASSERT_FALSE(filers().findLocalFactory(""));
              HOQPluginLoader loader;
              ASSERT_EQ(loader.load(kPlugin), "");
              EXPECT_TRUE(filers().findLocalFactory(""));
              EXPECT_FALSE(filers().findAgentFactory(""));
              EXPECT_FALSE(filers().findLocalFactory("HOQFileManagerLocal"));
            }),
            "");
}

/// The factories of transfers that are there: "s" of sending ends, "c" of controls, "r" of
/// receiving ends; small for local ones, capital for those of stand-ins.
std::string transferFactories() {
  auto& kit = HOQFunctionality<HOQHaulControlFactory>::kit();
  std::string found;
  if (kit.getFileSerializerMultiplexer().findLocalFactory("")) found += 's';
  if (kit.getFileControlMultiplexer().findLocalFactory("")) found += 'c';
  if (kit.getFileDeserializerMultiplexer().findLocalFactory("")) found += 'r';
  if (kit.getFileSerializerMultiplexer().findAgentFactory("")) found += 'S';
  if (kit.getFileControlMultiplexer().findAgentFactory("")) found += 'C';
  if (kit.getFileDeserializerMultiplexer().findAgentFactory("")) found += 'R';
  return found;
}

TEST(Plugin, TheHostFindsTheFactoriesOfTransfers) {
  EXPECT_EQ(inChild([] {
              EXPECT_EQ(transferFactories(), "");
              HOQPluginLoader loader;
              ASSERT_EQ(loader.load(kPlugin), "");
              EXPECT_EQ(transferFactories(), "scrSR");
              EXPECT_EQ(entryPoint("initHOQFileManagerLocal")(), 0);
              EXPECT_EQ(transferFactories(), "scrSR");
            }),
            "");
}

TEST(Plugin, ItsFilerCopiesToANode) {
  const TempDir dir;
  EXPECT_EQ(
      inChild([&] {
        HOQPluginLoader loader;
        ASSERT_EQ(loader.load(kPlugin), "");
        const auto filer = filers().createLocal("", HOQAccessProviderPtr());
        ASSERT_TRUE(filer);
        filer->setCwd(dir.path());
        const HOQAccessChecker::Scope client(HOQAccessChecker::ClientContextPtr(
            new HOQClientContext("a test's client", true, true)));
        trees::make(dir.path(), "d/f=text t/");
        EXPECT_EQ(
            filer->copy({"d"}, HOQConnectionInfo{"local:"}, "t", HOQFilerOptions(0x2), nullptr), 0);
        EXPECT_EQ(trees::snapshot(dir.path()), "d/f=text t/d/f=text");
      }),
      "");
}

/// Stands in the place of one of the plugin's own.
class OtherControlFactory : public HOQFunctionalFactoryLocal<boost::shared_ptr<HOQHaulControl>> {
 public:
  boost::shared_ptr<HOQHaulControl> createNew(HOQAccessProviderPtr) const override { return {}; }
};

// What was registered until then stays, in its order, and the next init begins anew.
TEST(Plugin, ARegistrationThatFailsLeavesTheOnesBeforeIt) {
  EXPECT_EQ(inChild([] {
              auto& kit = HOQFunctionality<HOQHaulControlFactory>::kit();
              kit.getFileControlMultiplexer().registerLocalFactory(
                  "", boost::shared_ptr<OtherControlFactory>(new OtherControlFactory));
              void* const library = dlopen(kPlugin, RTLD_NOW);
              ASSERT_NE(library, nullptr) << dlerror();
              EXPECT_THROW(entryPoint("initHOQFileManagerLocal")(), std::invalid_argument);
              EXPECT_TRUE(filers().findLocalFactory(""));
              EXPECT_EQ(transferFactories(), "sc");
              EXPECT_EQ(entryPoint("finiHOQFileManagerLocal")(), 0);
              EXPECT_EQ(transferFactories(), "");
              EXPECT_EQ(entryPoint("initHOQFileManagerLocal")(), 0);
              EXPECT_EQ(transferFactories(), "scrSR");
            }),
            "");
}

TEST(Plugin, ItsFilerWorks) {
  const TempDir dir;
  EXPECT_EQ(inChild([&] {
              HOQPluginLoader loader;
              ASSERT_EQ(loader.load(kPlugin), "");
              const auto filer = filers().createLocal("", HOQAccessProviderPtr());
              ASSERT_TRUE(filer);
              filer->setCwd(dir.path());
              EXPECT_EQ(filer->mkdir({"d"}, nullptr, HOQFilerOptions(0)), 414);
              const HOQAccessChecker::Scope client(HOQAccessChecker::ClientContextPtr(
                  new HOQClientContext("a test's client", true, true)));
              EXPECT_EQ(filer->mkdir({"d"}, nullptr, HOQFilerOptions(0)), 0);
              HOQFiler::FileTypes records;
              EXPECT_EQ(filer->list({"."}, &records, HOQFilerOptions(0), nullptr, 0x7FF), 0);
              ASSERT_EQ(records.size(), 5U);
              EXPECT_EQ(records[4]->name, "d");
              EXPECT_NE(filers().createLocal("", HOQAccessProviderPtr()), filer);
            }),
            "");
}

TEST(Plugin, ASecondInitRegistersNothing) {
  EXPECT_EQ(inChild([] {
              HOQPluginLoader loader;
              ASSERT_EQ(loader.load(kPlugin), "");
              const auto registered = filers().findLocalFactory("");
              EXPECT_EQ(entryPoint("initHOQFileManagerLocal")(), 0);
              EXPECT_EQ(filers().findLocalFactory(""), registered);
            }),
            "");
}

// Kept: an init after a fini registers nothing.
TEST(Plugin, FiniUnregistersForGood) {
  EXPECT_EQ(inChild([] {
              HOQPluginLoader loader;
              ASSERT_EQ(loader.load(kPlugin), "");
              EXPECT_EQ(entryPoint("finiHOQFileManagerLocal")(), 0);
              EXPECT_FALSE(filers().findLocalFactory(""));
              EXPECT_EQ(transferFactories(), "");
              EXPECT_EQ(entryPoint("initHOQFileManagerLocal")(), 0);
              EXPECT_FALSE(filers().findLocalFactory(""));
              EXPECT_EQ(transferFactories(), "");
              EXPECT_EQ(entryPoint("finiHOQFileManagerLocal")(), 0);
            }),
            "");
}

TEST(Plugin, FiniRunsWithoutAnInit) {
  EXPECT_EQ(inChild([] {
              void* const library = dlopen(kPlugin, RTLD_NOW);
              ASSERT_NE(library, nullptr) << dlerror();
              EXPECT_FALSE(filers().findLocalFactory(""));  // loading alone registers nothing
              EXPECT_EQ(entryPoint("finiHOQFileManagerLocal")(), 0);
              EXPECT_EQ(entryPoint("initHOQFileManagerLocal")(), 0);
              EXPECT_TRUE(filers().findLocalFactory(""));
            }),
            "");
}

/// Stands in the plugin's place.
class OtherFactory : public HOQFunctionalFactoryLocal<boost::shared_ptr<HOQFiler>> {
 public:
  boost::shared_ptr<HOQFiler> createNew(HOQAccessProviderPtr) const override { return {}; }
};

// A registration that fails leaves init, so the next init tries again.
TEST(Plugin, ARegistrationThatFailsIsNoInit) {
  EXPECT_EQ(inChild([] {
              const boost::shared_ptr<OtherFactory> other(new OtherFactory);
              filers().registerLocalFactory("", other);
              HOQPluginLoader loader;
              EXPECT_NE(loader.load(kPlugin), "");
              EXPECT_EQ(filers().findLocalFactory(""), other);
              filers().unregisterLocalFactory("");
              EXPECT_EQ(loader.load(kPlugin), "");
              EXPECT_TRUE(filers().findLocalFactory(""));
            }),
            "");
}

TEST(Plugin, TheLoaderUnregistersAtItsEnd) {
  EXPECT_EQ(inChild([] {
              {
                HOQPluginLoader loader;
                ASSERT_EQ(loader.load(kPlugin), "");
                ASSERT_TRUE(filers().findLocalFactory(""));
              }
              EXPECT_FALSE(filers().findLocalFactory(""));
            }),
            "");
}

TEST(Plugin, AFilerInUseOutlivesItsFactorysRegistration) {
  EXPECT_EQ(inChild([] {
              HOQPluginLoader loader;
              ASSERT_EQ(loader.load(kPlugin), "");
              const auto filer = filers().createLocal("", HOQAccessProviderPtr());
              EXPECT_EQ(entryPoint("finiHOQFileManagerLocal")(), 0);
              EXPECT_EQ(filer->remove({"x"}, HOQFilerOptions(0)), 414);
            }),
            "");
}

TEST(Plugin, ExportsItsTwoEntryPointsAndNothingElse) {
  if (access("/usr/bin/nm", X_OK) != 0) GTEST_SKIP() << "the command \"nm\" is not installed";
  const std::string command = std::string("/usr/bin/nm -D --defined-only '") + kPlugin + "'";
  FILE* const symbols = popen(command.c_str(), "r");
  ASSERT_NE(symbols, nullptr);
  std::set<std::string> names;
  char line[4096];
  while (std::fgets(line, sizeof line, symbols) != nullptr) {
    char name[4096];
    if (std::sscanf(line, "%*s %*c %4095s", name) != 1) continue;
    const std::string symbol = name;
    // The kits' statics are the framework's, shared by whoever instantiates them.
    if (symbol.find("HOQFunctionality") == std::string::npos) names.insert(symbol);
  }
  EXPECT_EQ(pclose(symbols), 0);
  const std::set<std::string> expected = {"finiHOQFileManagerLocal", "initHOQFileManagerLocal"};
  EXPECT_EQ(names, expected);
}

}  // namespace
}  // namespace HOQ::test
