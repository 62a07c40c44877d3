// Transfers whose one end is on another node, over a transport that stays in this process.
#include <hoq/HOQHaulControlFactory.h>

#include "framework/HaulFixture.h"
#include "support/ChannelContract.h"

namespace HOQ::test {
namespace {

using Calls = std::vector<std::string>;

class RemoteHaul : public HaulTest {
 protected:
  // Makes the next transfers come from the node, to this process.
  void sendFromNode() {
    const HOQAccessAgentPtr agent =
        HOQAccessAgentPrototype::createInstance(nullptr, nullptr, nullptr);
    ASSERT_EQ(agent->initializeSync(HOQConnectionInfo{"node:1"}, HOQRequestHandlerPtr()), 0);
    control.srcEid = agent->getEID();
    control.srcAccess = agent;
    control.dstEid = nodeEID();
    control.dstAccess = localAccess();
  }
  void TearDown() override {
    control.srcAccess.reset();
    HaulTest::TearDown();
  }
};

TEST_F(RemoteHaul, PassesAnItemToTheNode) {
  for (const bool late : {false, true}) {
    node.createsLate = late;
    for (const std::size_t size : {0, 1, 4096, 3'000'000}) {
      SCOPED_TRACE(size);
      world.contents = pattern(size);
      EXPECT_EQ(start("node:1"), 0);
      EXPECT_EQ(getErrorMessage(), "");
      EXPECT_TRUE(world.received == world.contents);
      EXPECT_TRUE(world.kept);
    }
  }
}

TEST_F(RemoteHaul, AsksTheNodeForOneStageAfterTheOther) {
  EXPECT_EQ(start("node:1"), 0);
  EXPECT_EQ(node.calls(), (Calls{"connect", "open hoqfile_deserializer", "create", "channel",
                                 "start_copying", "wait_copying_finish", "finish"}));
}

TEST_F(RemoteHaul, ConnectsOnceForAllItsItems) {
  for (int item = 0; item < 3; ++item) EXPECT_EQ(start("node:1", item != 1), 0);
  int connected = 0;
  for (const std::string& call : node.calls()) connected += call == "connect";
  EXPECT_EQ(connected, 1);
}

class AheadHaul : public HaulTest {
 protected:
  int goAhead(const std::string& target = "node:1", bool regular = true) {
    return control.goAhead(boost::make_shared<FakeParams>(), HOQConnectionInfo{target},
                           boost::make_shared<FakeParams>("item", regular), regular);
  }
  void SetUp() override {
    HaulTest::SetUp();
    node.whole = MemoryNode::Whole::kLate;
    ASSERT_EQ(start("node:1"), 0);
  }
  void TearDown() override {
    while (control.underWay() > 0) (void)control.settle();
    HaulTest::TearDown();
  }
};

TEST_F(AheadHaul, PassesItemsWhoseOutcomesComeLater) {
  world.received.clear();
  for (int item = 0; item < 3; ++item) EXPECT_EQ(goAhead("node:1", item != 1), 0);
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_EQ(control.underWay(), 3u);
  EXPECT_EQ(world.received, "");
  for (int item = 0; item < 3; ++item) EXPECT_EQ(control.settle().code, 0);
  EXPECT_EQ(world.received, "contents");
  EXPECT_TRUE(world.kept);
  EXPECT_EQ(control.underWay(), 0u);
}

TEST_F(AheadHaul, LeavesToStartWhatCannotGo) {
  const auto refused = [this](const char* why) {
    SCOPED_TRACE(why);
    EXPECT_NE(goAhead(), 0);
    EXPECT_EQ(getErrorMessage(), "");
    EXPECT_EQ(control.underWay(), 0u);
    EXPECT_EQ(world.alive, 0);
  };
  world.contents = pattern(HOQHaulControl::kMostAhead);
  refused("its contents are too long");
  world.contents = "short";
  world.announcedBeyond = 1;
  refused("there is less than was announced");
  world.announcedBeyond = 0;
  for (const char* call : {"sender init", "sender create", "copy"}) {
    world.strikes = [call](const std::string& at) { return at == call; };
    refused(call);
  }
  world.strikes = nullptr;
  EXPECT_EQ(goAhead(), 0);
}

TEST_F(AheadHaul, TellsTheStageThatFailedAndForgetsWhatIsBehindIt) {
  for (const char* call : {"start", "wait"}) {
    SCOPED_TRACE(call);
    for (int item = 0; item < 3; ++item) EXPECT_EQ(goAhead(), 0);
    world.strikes = [call](const std::string& at) { return at == call; };
    const HOQHaulOutcome outcome = control.settle();
    world.strikes = nullptr;
    EXPECT_NE(outcome.code, 0);
    EXPECT_EQ(outcome.stage,
              std::string(call) == "start" ? "start_copying" : "wait_copying_finish");
    EXPECT_NE(outcome.text, "");
    EXPECT_EQ(control.underWay(), 0u);
    EXPECT_EQ(node.sessions(), 0);
  }
}

TEST_F(AheadHaul, HasTheCodeOfARefusal) {
  EXPECT_EQ(goAhead(), 0);
  node.client.reset(new HOQClientContext("reader", true, false));
  EXPECT_EQ(control.settle().code, kNodeRefused);
}

TEST(LocalHaulAhead, StaysInThisProcessWhereNothingIsWaitedFor) {
  HaulWorld world;
  FakeControl control(localAccess());
  EXPECT_NE(control.goAhead(boost::make_shared<FakeParams>(), HOQConnectionInfo{"local:"},
                            boost::make_shared<FakeParams>("item", true), true),
            0);
  EXPECT_EQ(world.calls(), Calls{"make receiver"});
}

TEST_F(RemoteHaul, PassesAnItemFromTheNode) {
  sendFromNode();
  world.contents = pattern(3'000'000);
  EXPECT_EQ(start("local:"), 0);
  EXPECT_TRUE(world.received == world.contents);
  EXPECT_EQ(node.calls(),
            (Calls{"connect", "open hoqfile_serializer", "create", "channel", "copy", "finish"}));
}

TEST_F(RemoteHaul, RefusesATransferFromOneOtherNodeToAnother) {
  sendFromNode();
  transport.add("node:2");
  control.dstAccess.reset();
  EXPECT_EQ(start("node:2"), -1);
  EXPECT_EQ(getErrorMessage(),
            "Cannot send from another node to another: one end must be this node");
  EXPECT_EQ(node.calls(), Calls{"connect"});
}

TEST_F(RemoteHaul, UsesTheEndInThisProcessForANodeThatIsThisOne) {
  node.eid = nodeEID();
  EXPECT_EQ(start("node:1"), 0);
  EXPECT_EQ(node.calls(), Calls{"connect"});
  EXPECT_EQ(world.received, world.contents);
}

TEST_F(RemoteHaul, TellsANodeThatCannotBeReachedFromOneThatRefuses) {
  struct Case {
    int answer, code;
    const char* text;
  };
  const Case kCases[] = {
      {kNodeUnreachable, kNodeUnreachable, "node:1 does not let us in"},
      {kNodeRefused, kNodeRefused, "node:1 does not let us in"},
      {kAccessRefused, kNodeRefused, "node:1 does not let us in"},
      {-1, -1, "node:1 does not let us in"},
      {-77, -1, "node:1 does not let us in"},
  };
  for (const Case& each : kCases) {
    node.connectCode = each.answer;
    EXPECT_EQ(start("node:1"), each.code) << each.answer;
    EXPECT_EQ(getErrorMessage(), each.text);
  }
  EXPECT_EQ(start("nowhere:1"), kNodeUnreachable);
  EXPECT_EQ(getErrorMessage(), "nowhere:1 cannot be reached");
  node.connectCode = 0;
  EXPECT_EQ(start("node:1"), 0) << "an earlier outcome does not stick";
}

TEST_F(RemoteHaul, CannotReachANodeWithoutATransport) {
  HOQTransport::registerTransport(nullptr);
  EXPECT_EQ(start("node:1"), kNodeUnreachable);
  EXPECT_EQ(getErrorMessage(), "This process has no transport to other nodes");
  EXPECT_EQ(start("local:"), 0);
  HOQTransport::registerTransport(&transport);
}

TEST_F(RemoteHaul, IsRefusedWhereTheNodeGrantsNoRight) {
  for (const bool late : {false, true}) {
    node.createsLate = late;
    node.client.reset(new HOQClientContext("reader", true, false));
    EXPECT_EQ(start("node:1"), kNodeRefused);
    EXPECT_EQ(getErrorMessage(), "Access refused");
    EXPECT_EQ(world.ends, late ? 2 : 1) << "the node made no end";
  }
  control.dstAccess.reset();
  sendFromNode();
  node.createsLate = false;
  EXPECT_EQ(start("local:"), 0);
  node.client.reset(new HOQClientContext("writer", false, true));
  EXPECT_EQ(start("local:"), kNodeRefused);
}

struct Failure {
  const char* call;
  int code;
  const char* text;
};

// What goes wrong on the node, and what is told here.
const Failure kFailures[] = {
    {"receiver init", -1, "receiver init was struck"},
    {"receiver create", -1, "receiver create was struck"},
    {"start", -2, "start was struck"},
    {"wait", -4, "wait was struck"},
    {"put", -1, "The item cannot be kept"},
    {"receiver finish", -1, "receiver finish was struck"},
};

TEST_F(RemoteHaul, BringsTheNodesErrorTextHere) {
  for (const Failure& each : kFailures) {
    SCOPED_TRACE(each.call);
    world.kept = false;
    world.strikes = [&](const std::string& call) { return call == each.call; };
    EXPECT_EQ(start("node:1"), each.code);
    EXPECT_EQ(getErrorMessage(), each.text);
    EXPECT_EQ(world.kept, std::string(each.call) == "receiver finish");
  }
}

TEST_F(RemoteHaul, BringsTheNodesErrorTextHereWhenItSends) {
  sendFromNode();
  world.strikes = [](const std::string& call) { return call == "get"; };
  EXPECT_EQ(start("local:"), -1);
  EXPECT_EQ(getErrorMessage(), "Cannot send the item");
  EXPECT_FALSE(world.kept);
  world.strikes = [](const std::string& call) { return call == "copy"; };
  EXPECT_EQ(start("local:"), -3);
  EXPECT_EQ(getErrorMessage(), "copy was struck");
}

TEST_F(RemoteHaul, ReadsAnItemsParametersOnTheNode) {
  EXPECT_EQ(start("node:1", false), 0);
  EXPECT_TRUE(world.kept);
  EXPECT_EQ(world.received, "");
}

// The way to the node is cut at its n-th call, for every n, in both directions.
TEST_F(RemoteHaul, LeavesNothingBehindWhereverTheWayIsCut) {
  world.contents = pattern(3 * 4096);
  for (const bool fromNode : {false, true}) {
    if (fromNode) sendFromNode();
    for (int n = 1;; ++n) {
      ASSERT_LE(n, 50) << "the sweep ends";
      int calls = 0;
      std::string cut;
      world.kept = false;
      node.cuts = [&](const std::string& call) {
        if (++calls != n) return false;
        cut = call;
        return true;
      };
      const int code = start(fromNode ? "local:" : "node:1");
      if (cut.empty()) {
        EXPECT_EQ(code, 0);
        EXPECT_GT(n, 5) << "calls were cut";
        break;
      }
      EXPECT_EQ(code != 0, true) << "call " << n << ": " << cut;
      if (cut.starts_with("open ")) {
        EXPECT_EQ(code, kNodeUnreachable) << cut;
      }
      EXPECT_NE(getErrorMessage(), "") << "call " << n << ": " << cut;
      EXPECT_FALSE(world.kept && world.received != world.contents) << "call " << n << ": " << cut;
      ASSERT_EQ(world.alive, 0) << "call " << n << ": " << cut;
      ASSERT_EQ(node.sessions(), 0) << "call " << n << ": " << cut;
    }
    node.cuts = nullptr;
  }
}

// The n-th call of the node's end or this side's fails, for every n.
TEST_F(RemoteHaul, LeavesNothingBehindWhicheverCallFails) {
  world.contents = pattern(3 * 4096);
  for (const bool says : {true, false}) {
    world.saysWhy = says;
    for (int n = 1;; ++n) {
      ASSERT_LE(n, 200) << "the sweep ends";
      int calls = 0;
      std::string struck;
      world.kept = false;
      world.strikes = [&](const std::string& call) {
        if (++calls != n) return false;
        struck = call;
        return true;
      };
      const int code = start("node:1");
      if (struck.empty()) {
        EXPECT_EQ(code, 0);
        EXPECT_GT(n, 10) << "calls were struck";
        break;
      }
      EXPECT_NE(code, 0) << "call " << n << ": " << struck;
      EXPECT_NE(getErrorMessage(), "") << "call " << n << ": " << struck;
      EXPECT_EQ(world.kept, struck == "receiver finish") << "call " << n << ": " << struck;
      ASSERT_EQ(world.alive, 0) << "call " << n << ": " << struck;
      ASSERT_EQ(node.sessions(), 0) << "call " << n << ": " << struck;
    }
  }
}

TEST_F(RemoteHaul, RunsNoStageWithoutASession) {
  const auto end = HOQFunctionality<HOQHaulControlFactory>::kit().getFileDeserializerAgent(
      node.eid, localAccess(), "");
  ASSERT_TRUE(end);
  const HOQConnectionInfo connection{"node:1"};
  EXPECT_EQ(end->finish(), 0);
  clearErrorMessage();
  EXPECT_EQ(end->startCopying(HOQChannelEndPtr()), -1);
  EXPECT_EQ(getErrorMessage(),
            "\"start_copying\" of \"hoqfile_deserializer\" has no session with its node");
  EXPECT_EQ(end->waitCopyingFinish(), -1);
  EXPECT_FALSE(end->createConnectorFromSelf());
  EXPECT_EQ(end->init(connection, HOQHaulParamsPtr()), -1);
  EXPECT_EQ(end->init(connection, boost::make_shared<FakeParams>()), 0);
  EXPECT_EQ(end->create(), kNodeUnreachable) << "its access leads to this process";
  EXPECT_NE(getErrorMessage(), "");

  const auto lost = HOQFunctionality<HOQHaulControlFactory>::kit().getFileDeserializerAgent(
      node.eid, nullptr, "");
  EXPECT_EQ(lost->init(connection, boost::make_shared<FakeParams>()), 0);
  EXPECT_EQ(lost->create(), -1);
}

TEST(Transport, IsTheRegisteredOne) {
  EXPECT_EQ(HOQTransport::registered(), nullptr);
  {
    MemoryTransport transport;
    EXPECT_EQ(HOQTransport::registered(), &transport);
    const HOQAccessAgentPtr agent =
        HOQAccessAgentPrototype::createInstance(nullptr, nullptr, nullptr);
    ASSERT_TRUE(agent);
    EXPECT_FALSE(agent->getEID().isValid());
  }
  EXPECT_EQ(HOQTransport::registered(), nullptr);
  EXPECT_FALSE(HOQAccessAgentPrototype::createInstance(nullptr, nullptr, nullptr));
}

}  // namespace
}  // namespace HOQ::test
