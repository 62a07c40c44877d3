#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hoq/HOQPluginLoader.h>
#include <hoq/HOQVersion.h>

#include <filesystem>
#include <optional>
#include <string>

#include "support/TempDir.h"
#include "support/Trees.h"

namespace HOQ {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string pluginFile(const std::string& name) { return HOQ_TEST_PLUGINS "/lib" + name + ".so"; }

// Lets a plugin note the calls of its entry points in `calls` (null: nowhere).
void record(const std::string& name, std::string* calls) {
  void* const library = dlopen(pluginFile(name).c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto recordInto =
      reinterpret_cast<void (*)(std::string*)>(dlsym(library, ("record" + name).c_str()));
  ASSERT_NE(recordInto, nullptr);
  recordInto(calls);
}

class PluginLoader : public testing::Test {
 protected:
  void recordCallsOf(const std::string& name) {
    record(name, &calls);
    recorded_.push_back(name);
  }
  ~PluginLoader() override {
    for (const std::string& name : recorded_) record(name, nullptr);
  }

  std::string calls;

 private:
  std::vector<std::string> recorded_;
};

TEST_F(PluginLoader, InitialisesInOrderAndFinishesTheLastFirst) {
  recordCallsOf("Good");
  recordCallsOf("Better");
  {
    HOQPluginLoader loader;
    EXPECT_EQ(loader.load(pluginFile("Good")), "");
    EXPECT_EQ(loader.load(pluginFile("Better")), "");
    EXPECT_EQ(calls, "initGood initBetter ");
  }
  EXPECT_EQ(calls, "initGood initBetter finiBetter finiGood ");
}

// Whether that changes anything is the plugin's affair.
TEST_F(PluginLoader, InitialisesAPluginThatIsLoadedAgainAndFinishesItOnce) {
  recordCallsOf("Good");
  {
    HOQPluginLoader loader;
    EXPECT_EQ(loader.load(pluginFile("Good")), "");
    EXPECT_EQ(loader.load(pluginFile("Good")), "");
  }
  EXPECT_EQ(calls, "initGood initGood finiGood ");
}

TEST_F(PluginLoader, CallsNothingOfAPluginThatFailed) {
  for (const char* const name : {"Failing", "Throwing", "ThrowingOdd", "WithoutFini"})
    recordCallsOf(name);
  {
    HOQPluginLoader loader;
    for (const char* const name : {"Failing", "Throwing", "ThrowingOdd", "WithoutFini"})
      EXPECT_NE(loader.load(pluginFile(name)), "") << name;
  }
  EXPECT_EQ(calls, "initFailing initThrowing initThrowingOdd ");
}

TEST_F(PluginLoader, FinishesTheOthersWhenOneThrows) {
  recordCallsOf("Good");
  recordCallsOf("FiniThrowing");
  {
    HOQPluginLoader loader;
    EXPECT_EQ(loader.load(pluginFile("Good")), "");
    EXPECT_EQ(loader.load(pluginFile("FiniThrowing")), "");
  }
  EXPECT_EQ(calls, "initGood initFiniThrowing finiFiniThrowing finiGood ");
}

TEST_F(PluginLoader, SaysInOneLineWhyAPluginDoesNotServe) {
  const struct {
    const char* name;
    std::string reason;
  } cases[] = {
      {"WithoutInit", "exports no initWithoutInit"},
      {"WithoutFini", "exports no finiWithoutFini"},
      {"Failing", "initFailing failed with 7"},
      {"Throwing", "initThrowing failed: no?room"},
      {"ThrowingOdd", "initThrowingOdd failed with an exception of an unknown kind"},
      {"OtherVersion",
       std::string("built for version 9.12 of the framework, this is ") + frameworkVersion()},
  };
  for (const auto& each : cases) {
    HOQPluginLoader loader;
    const std::string file = pluginFile(each.name);
    EXPECT_EQ(loader.load(file), file + ": " + each.reason);
  }
}

TEST_F(PluginLoader, SaysInOneLineWhyAFileCannotBeLoaded) {
  const test::TempDir directory;
  test::trees::make(directory.path(),
                    "libdirectory.so/ libempty.so libtext.so=text libloop.so->libloop.so");
  const struct {
    const char* name;
    const char* reason;
  } cases[] = {{"libmissing.so", "No such file or directory"},
               {"libdirectory.so", "directory"},
               {"libempty.so", "file too short"},
               {"libtext.so", "file too short"},
               {"libloop.so", "symbolic link"}};
  for (const auto& each : cases) {
    HOQPluginLoader loader;
    const std::string file = directory / each.name;
    const std::string line = loader.load(file);
    EXPECT_THAT(line, AllOf(StartsWith(file + ": "), HasSubstr(each.reason), Not(HasSubstr("\n"))));
    EXPECT_EQ(line.find(file, 1), std::string::npos) << "the file twice: " << line;
  }
}

TEST_F(PluginLoader, RefusesATextThatIsLongEnoughForALibrary) {
  const test::TempDir directory;
  test::trees::make(directory.path(), "liblong.so=" + std::string(10'000, 'x'));
  HOQPluginLoader loader;
  EXPECT_EQ(loader.load(directory / "liblong.so"), (directory / "liblong.so: invalid ELF header"));
}

TEST_F(PluginLoader, RefusesAFileThatIsNotNamedAsAPlugin) {
  for (const std::string file : {"", "/", "lib.so", "/x/lib.so", "Good.so", "/x/libGood",
                                 "libGood.so/", "libGood.so.1", "/lib/x.so/Good", "libGood.SO"}) {
    HOQPluginLoader loader;
    EXPECT_EQ(loader.load(file), file + ": a plugin's file is named libNAME.so");
  }
}

TEST_F(PluginLoader, LooksABareNameUpAsTheLinkerDoes) {
  HOQPluginLoader loader;
  EXPECT_THAT(loader.load("libhoqNoSuchPlugin.so"),
              AllOf(StartsWith("libhoqNoSuchPlugin.so: "), HasSubstr("No such file")));
}

TEST_F(PluginLoader, KeepsALineBreakOfAFileNameOutOfItsLine) {
  HOQPluginLoader loader;
  EXPECT_EQ(loader.load("/x\r\ny/z"), "/x??y/z: a plugin's file is named libNAME.so");
}

TEST_F(PluginLoader, TakesTheEntryPointsByTheFilesName) {
  const test::TempDir directory;
  const std::string renamed = directory / "libOther.so";
  std::filesystem::copy_file(pluginFile("Good"), renamed);
  HOQPluginLoader loader;
  EXPECT_EQ(loader.load(renamed), renamed + ": exports no initOther");
}

TEST(Version, IsThatOfTheSymbolThatPluginsReferTo) {
  EXPECT_EQ(std::string(frameworkVersion()),
            std::to_string(HOQ_FRAMEWORK_MAJOR) + "." + std::to_string(HOQ_FRAMEWORK_MINOR));
  const std::string symbol = "hoqFrameworkVersion_" + std::to_string(HOQ_FRAMEWORK_MAJOR) + "_" +
                             std::to_string(HOQ_FRAMEWORK_MINOR);
  EXPECT_EQ(dlsym(RTLD_DEFAULT, symbol.c_str()), &HOQ_FRAMEWORK_SYMBOL);
}

}  // namespace
}  // namespace HOQ
