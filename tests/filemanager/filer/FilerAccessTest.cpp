#include <gtest/gtest.h>
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQErrorMessage.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/ScriptedFiler.h"
#include "support/TransferFactories.h"
#include "support/Trees.h"

namespace HOQ::test {
namespace {

constexpr int kReading = 40;
constexpr int kChanging = 41;
constexpr int kNotProvided = 424;

struct Operation {
  const char* name;
  int right;
  bool provided;  // otherwise it answers 424
  std::function<int(HOQFiler&, HOQFiler::FileTypes&)> call;
};

const std::vector<Operation>& operations() {
  static const HOQFilerOptions options(0x2);
  static const HOQSecurityAttributes attributes(0755);
  static const HOQConnectionInfo node{"local:"};
  static const HOQFiler::HandlerDelegate delegate;
  static const std::vector<Operation> all = {
      {"list", kReading, true,
       [](HOQFiler& f, HOQFiler::FileTypes& r) { return f.list({"d"}, &r, options, nullptr, 0); }},
      {"remove", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.remove({"d"}, options); }},
      {"copy to a node", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) {
         return f.copy({"d"}, node, "new", options, &attributes);
       }},
      {"copy", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.copy({"d"}, "new", options); }},
      {"move", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.move({"d"}, "new", options); }},
      {"upload", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) {
         return f.upload({}, options, attributes, delegate, nullptr);
       }},
      {"download", kReading, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) {
         return f.download({}, options, attributes, delegate, nullptr);
       }},
      {"chmod", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.chmod({"d"}, 0700, options); }},
      {"chown by names", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.chown({"d"}, "root", "root", options); }},
      {"chown by ids", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.chown({"d"}, 0U, 0U, options); }},
      {"link", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.link("d", "new", options); }},
      {"stat", kReading, true,
       [](HOQFiler& f, HOQFiler::FileTypes& r) { return f.stat({"d"}, &r, options, 0); }},
      {"readlink", kReading, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) {
         std::string target = "untouched";
         const int code = f.readlink("l", target);
         EXPECT_TRUE(code == 0 || target == "untouched");
         return code;
       }},
      {"search", kReading, false,
       [](HOQFiler& f, HOQFiler::FileTypes& r) { return f.search({"d"}, "*", &r, 0, options); }},
      {"mkdir", kChanging, true,
       [](HOQFiler& f, HOQFiler::FileTypes&) { return f.mkdir({"new"}, nullptr, options); }},
  };
  return all;
}

constexpr char kTree[] = "d/e/f=text l->d";

class FilerAccess : public testing::Test {
 protected:
  void SetUp() override { clearErrorMessage(); }

  void expectRefusals(const std::function<bool(const Operation&)>& refused) {
    const TempDir dir;
    trees::make(dir.path(), kTree);
    for (const Operation& operation : operations()) {
      if (!refused(operation)) continue;
      SCOPED_TRACE(operation.name);
      ScriptedFiler filer(dir.path());
      HOQFiler::FileTypes records;
      EXPECT_EQ(operation.call(filer, records), 414);
      EXPECT_EQ(filer.routinesAsked, 0);
      EXPECT_TRUE(filer.handler->events.empty());
      EXPECT_EQ(filer.handler->itemsReached, 0);
      EXPECT_TRUE(records.empty());
      EXPECT_EQ(getErrorMessage(), "");
      EXPECT_EQ(trees::snapshot(dir.path()), kTree);
    }
  }

  const TransferFactories<> factories;
};

TEST_F(FilerAccess, ThereAreFifteenOperations) { EXPECT_EQ(operations().size(), 15U); }

TEST_F(FilerAccess, WithoutAClientEverythingIsRefused) {
  expectRefusals([](const Operation&) { return true; });
}

TEST_F(FilerAccess, WithoutRightsEverythingIsRefused) {
  const Rights none(false, false);
  expectRefusals([](const Operation&) { return true; });
}

TEST_F(FilerAccess, WhoMayReadMayNotChange) {
  const Rights reading(true, false);
  expectRefusals([](const Operation& operation) { return operation.right == kChanging; });
}

TEST_F(FilerAccess, WhoMayChangeMayNotRead) {
  const Rights changing(false, true);
  expectRefusals([](const Operation& operation) { return operation.right == kReading; });
}

TEST_F(FilerAccess, AnothersRightsAreNotThisThreads) {
  const Rights full(true, true);
  std::thread([this] { expectRefusals([](const Operation&) { return true; }); }).join();
}

TEST_F(FilerAccess, TheRightAloneIsEnough) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    const TempDir dir;
    trees::make(dir.path(), kTree);
    const Rights rights(operation.right == kReading, operation.right == kChanging);
    ScriptedFiler filer(dir.path());
    HOQFiler::FileTypes records;
    EXPECT_NE(operation.call(filer, records), 414);
  }
}

TEST_F(FilerAccess, WhatIsNotProvidedTouchesNothing) {
  const TempDir dir;
  trees::make(dir.path(), kTree);
  const Rights full(true, true);
  int count = 0;
  for (const Operation& operation : operations()) {
    if (operation.provided) continue;
    SCOPED_TRACE(operation.name);
    ScriptedFiler filer(dir.path());
    HOQFiler::FileTypes records;
    EXPECT_EQ(operation.call(filer, records), kNotProvided);
    EXPECT_TRUE(filer.handler->events.empty());
    EXPECT_TRUE(records.empty());
    EXPECT_EQ(trees::snapshot(dir.path()), kTree);
    ++count;
  }
  EXPECT_GE(count, 1);  // searching, at the least
}

}  // namespace
}  // namespace HOQ::test
