#include <gtest/gtest.h>
#include <hoq/HOQResultCodes.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/ResourceCount.h"
#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;
using Strings = std::vector<std::string>;

/// Operations that stay in the node until they are let go.
class Gate {
 public:
  static Gate& current() {
    static Gate gate;
    return gate;
  }
  void reset() {
    const std::lock_guard<std::mutex> lock(mutex_);
    inside_ = 0;
    open_ = false;
  }
  void pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    ++inside_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
  }
  void await(int inside) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return inside_ >= inside; });
  }
  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int inside_ = 0;
  bool open_ = false;
};

class GatedFiler : public HOQFilerLocal {
 public:
  using HOQFilerLocal::HOQFilerLocal;
  int remove(const Paths& paths, const HOQFilerOptions&) override {
    if (!paths.empty()) Gate::current().pass();
    return static_cast<int>(paths.size());
  }
};

class ThrowingFiler : public HOQFilerLocal {
 public:
  using HOQFilerLocal::HOQFilerLocal;
  int remove(const Paths&, const HOQFilerOptions&) override { throw std::bad_alloc(); }
};

class NodeServerGate : public testing::Test {
 protected:
  void SetUp() override { Gate::current().reset(); }
};

TEST_F(NodeServerGate, RefusesCallsBeyondTheLimitAndServesOn) {
  NodeServerSettings settings = nodeSettings();
  settings.requestsPerClient = 3;
  settings.threads = 1;
  OnNode<GatedFiler> node(settings);
  std::vector<std::thread> callers;
  std::vector<int> codes(3);
  for (int i = 0; i < 3; ++i) {
    callers.emplace_back([&, i, filer = node.client->filer("node")] {
      codes[static_cast<std::size_t>(i)] = filer->remove({"x", "y"}, 0);
    });
    if (i == 0) Gate::current().await(1);
  }
  NodeServerCounters counters;
  while ((counters = node.nodes.node("node").counters()).waiting < 2) std::this_thread::yield();
  EXPECT_EQ(counters.active, 1);
  EXPECT_EQ(node.filer->remove({}, 0), -1);
  EXPECT_EQ(node.filer->failure(), NodeFailure::kBusy);
  EXPECT_EQ(node.nodes.node("node").counters().refused, 1u);
  Gate::current().open();
  for (std::thread& each : callers) each.join();
  EXPECT_EQ(codes, (std::vector<int>{2, 2, 2}));
  EXPECT_EQ(node.filer->remove({}, 0), 0);
}

TEST_F(NodeServerGate, WaitsForCallsWhenItDrains) {
  OnNode<GatedFiler> node;
  int code = -1;
  std::thread caller([&] { code = node.filer->remove({"x"}, 0); });
  Gate::current().await(1);
  bool clean = false;
  std::thread drainer([&] { clean = node.nodes.node("node").drain(std::chrono::hours(1)); });
  // From some moment on nothing is admitted.
  const auto other = node.client->filer("node");
  while (other->remove({}, 0) == 0) std::this_thread::yield();
  EXPECT_EQ(other->failure(), NodeFailure::kLost);
  Gate::current().open();
  drainer.join();
  caller.join();
  EXPECT_TRUE(clean);
  EXPECT_EQ(code, 1);
}

TEST_F(NodeServerGate, SaysWhenCallsDidNotEndInTime) {
  OnNode<GatedFiler> node;
  std::thread caller([&] { EXPECT_EQ(node.filer->remove({"x"}, 0), -1); });
  Gate::current().await(1);
  EXPECT_FALSE(node.nodes.node("node").drain(std::chrono::milliseconds(1)));
  Gate::current().open();
  caller.join();
}

TEST(NodeServer, TellsOfEveryCall) {
  const TempDir root;
  trees::make(root.path(), "f=abc");
  Calls calls;
  NodeServerSettings settings = nodeSettings();
  settings.observer = &calls;
  OnNode<> node(settings);
  node.filer->setCwd(root.path());
  {
    const HOQAccessChecker::Scope scope(new HOQClientContext("who asked", true, true));
    EXPECT_EQ(node.filer->copy({"f"}, "g", 0), 0);
  }
  HOQFiler::FileTypes records;
  EXPECT_EQ(node.filer->list({"missing"}, &records, 0, nullptr, 0), 2056);
  const auto told = calls.await(2);
  EXPECT_EQ(told[0].method, "Copy");
  EXPECT_TRUE(told[0].changes);
  EXPECT_EQ(told[0].askedBy, "who asked");
  EXPECT_EQ(told[0].client, "a test's client");
  EXPECT_EQ(told[0].cwd, root.path());
  EXPECT_EQ(told[0].paths, Strings{"f"});
  EXPECT_EQ(told[0].destination, "g");
  EXPECT_EQ(told[0].code, 0);
  EXPECT_EQ(told[1].method, "List");
  EXPECT_FALSE(told[1].changes);
  EXPECT_EQ(told[1].askedBy, "");
  const NodeServerCounters counters = node.nodes.node("node").counters();
  EXPECT_EQ(counters.calls.at({"Copy", 0}), 1u);
  EXPECT_EQ(counters.calls.at({"List", 2056}), 1u);
  EXPECT_EQ(counters.active, 0);
  EXPECT_EQ(counters.connections, 1u);
}

TEST(NodeServer, ShowsOnlyTheFirstOfManyPaths) {
  Calls calls;
  NodeServerSettings settings = nodeSettings();
  settings.observer = &calls;
  OnNode<> node(settings);
  EXPECT_NE(node.filer->remove(HOQFiler::Paths(100, "/no/such"), 0), 0);
  const CallRecord told = calls.await(1)[0];
  EXPECT_EQ(told.paths.size(), 16u);
  EXPECT_EQ(told.pathCount, 100u);
}

TEST(NodeServer, AnswersAnOperationThatBreaksOff) {
  OnNode<ThrowingFiler> node;
  EXPECT_EQ(node.filer->remove({"x"}, 0), -1);
  EXPECT_EQ(node.filer->failure(), NodeFailure::kProtocol);
  EXPECT_EQ(node.filer->chmod({}, 0, 0), 0) << "it serves on";
}

TEST(NodeServer, GivesEverythingBackWhenItEnds) {
  {
    OnNode<> warm;
    (void)warm.filer->remove({}, 0);
  }
  const ResourceCount before;
  for (int i = 0; i < 3; ++i) {
    OnNode<> node;
    EXPECT_EQ(node.filer->remove({}, 0), 0);
  }
  EXPECT_EQ(before.difference(), "");
}

TEST(NodeServer, NeedsAClient) {
  NodeServerSettings settings;
  EXPECT_THROW(NodeServer::create(settings), std::invalid_argument);
}

}  // namespace
}  // namespace HOQ::test
