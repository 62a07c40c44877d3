// Transfers between fake ends, one of them on a node at the other side of a socket pair.
#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQResultCodes.h>
#include <hoq/HOQStageSession.h>

#include <boost/smart_ptr/make_shared.hpp>

#include "support/ChannelContract.h"
#include "support/HaulFakes.h"
#include "transport/TestNodes.h"

namespace HOQ::test {
namespace {

using namespace transport;
using Strings = std::vector<std::string>;

class HaulStreams : public testing::Test {
 protected:
  HaulStreams() { restart(nodeSettings()); }
  ~HaulStreams() override { HOQTransport::registerTransport(nullptr); }

  void TearDown() override {
    dropAccess();
    HOQTransport::registerTransport(nullptr);
    client.reset();
    nodes.remove("node");
    EXPECT_EQ(world.alive, 0) << "ends or channels outlive their transfers";
    EXPECT_EQ(world.unjoined, 0) << "a receiver was destroyed while it ran";
  }

  void dropAccess() {
    control.dstAccess.reset();
    control.srcAccess.reset();
  }

  void restart(NodeServerSettings settings) {
    dropAccess();
    client = newClient(nodes);
    settings.observer = &calls;
    nodes.add("node", settings);
    HOQTransport::registerTransport(&client->transport());
  }

  int start(bool regular = true, const std::string& target = "node") {
    return control.start(HOQConnectionInfo(), boost::make_shared<FakeParams>(),
                         HOQConnectionInfo{target},
                         boost::make_shared<FakeParams>("item", regular));
  }

  void sendFromNode() {
    const HOQAccessAgentPtr agent =
        HOQAccessAgentPrototype::createInstance(nullptr, nullptr, nullptr);
    ASSERT_EQ(agent->initializeSync(HOQConnectionInfo{"node"}, HOQRequestHandlerPtr()), 0);
    control.srcEid = agent->getEID();
    control.srcAccess = agent;
    control.dstEid = nodeEID();
    control.dstAccess = localAccess();
  }

  HOQStageSessionPtr session(const std::string& functional) {
    const HOQAccessAgentPtr agent = client->transport().createAgent();
    EXPECT_EQ(agent->initializeSync(HOQConnectionInfo{"node"}, nullptr), 0);
    return agent->openSession(functional);
  }

  Calls calls;
  HaulWorld world;
  TestNodes nodes;
  std::unique_ptr<NodeClient> client;
  FakeControl control{localAccess()};
};

TEST_F(HaulStreams, PassItemsToTheNode) {
  for (const std::size_t size : {0, 1, 4096, 262'136, 262'137, 3'000'000, 40'000'000}) {
    SCOPED_TRACE(size);
    world.contents = pattern(size);
    ASSERT_EQ(start(), 0) << getErrorMessage();
    EXPECT_TRUE(world.received == world.contents);
    EXPECT_TRUE(world.kept);
  }
  EXPECT_EQ(nodes.node("node").counters().streams, 1) << "one stream carries them all";
  EXPECT_EQ(nodes.node("node").counters().connections, 1u);
}

TEST_F(HaulStreams, PassItemsFromTheNode) {
  sendFromNode();
  for (const std::size_t size : {0, 1, 4096, 3'000'000, 40'000'000}) {
    SCOPED_TRACE(size);
    world.contents = pattern(size);
    ASSERT_EQ(start(true, "local:"), 0) << getErrorMessage();
    EXPECT_TRUE(world.received == world.contents);
  }
}

TEST_F(HaulStreams, PassDirectoriesAndFilesInTurn) {
  for (int i = 0; i < 50; ++i) {
    world.contents = pattern(static_cast<std::size_t>(i));
    ASSERT_EQ(start(i % 3 != 0), 0) << i << " " << getErrorMessage();
    EXPECT_TRUE(i % 3 == 0 || world.received == world.contents);
  }
  EXPECT_EQ(calls.await(50).size(), 50u);
  EXPECT_EQ(nodes.node("node").counters().active, 0);
}

TEST_F(HaulStreams, TellWhoAskedAndWhatPassed) {
  world.contents = pattern(1000);
  {
    const HOQAccessChecker::Scope scope(new HOQClientContext("asker", true, true));
    ASSERT_EQ(start(), 0);
  }
  const CallRecord call = calls.await(1)[0];
  EXPECT_EQ(call.method, "hoqfile_deserializer");
  EXPECT_TRUE(call.changes);
  EXPECT_EQ(call.client, "a test's client");
  EXPECT_EQ(call.askedBy, "asker");
  EXPECT_EQ(call.paths, Strings{"item"});
  EXPECT_EQ(call.code, 0);
  EXPECT_EQ(call.trouble, "");
  EXPECT_GE(call.bytesIn, 1000u);
}

TEST_F(HaulStreams, AreRefusedWithoutTheRight) {
  restart(nodeSettings(true, false));
  EXPECT_EQ(start(), kNodeRefused);
  EXPECT_EQ(calls.await(1)[0].code, kAccessRefused);
  restart(nodeSettings(false, true));
  sendFromNode();
  EXPECT_EQ(start(true, "local:"), kNodeRefused);
}

TEST_F(HaulStreams, ReportAnEndThatFailsOnTheNodeWithItsText) {
  for (const char* call : {"deserializer startCopying", "deserializer waitCopyingFinish"}) {
    SCOPED_TRACE(call);
    bool struck = false;
    world.strikes = [&](const std::string& at) {
      if (at.find(call + std::string("deserializer ").size()) == std::string::npos) return false;
      return struck = true;
    };
    const int code = start();
    if (struck) {
      EXPECT_NE(code, 0);
      EXPECT_NE(getErrorMessage(), "");
    }
    world.strikes = nullptr;
    EXPECT_EQ(start(), 0) << "the next item goes";
  }
}

TEST_F(HaulStreams, FailWhereTheSenderSendsLessThanItAnnounced) {
  world.contents = pattern(100'000);
  world.announcedBeyond = 5;
  EXPECT_NE(start(), 0);
  world.announcedBeyond = 0;
  EXPECT_EQ(start(), 0) << getErrorMessage();
}

TEST_F(HaulStreams, EndTheNodesTransferWhenTheLinkIsCut) {
  world.contents = pattern(1'000'000);
  control.afterCopy = [this](HOQChannelPrototype&) { nodes.cut(); };
  EXPECT_NE(start(), 0);
  EXPECT_NE(getErrorMessage(), "");
  control.afterCopy = nullptr;
  EXPECT_EQ(calls.await(1)[0].code, -1);
  dropAccess();
  EXPECT_EQ(start(), 0) << getErrorMessage();
}

TEST_F(HaulStreams, LeaveTheNodesTransferWhenTheSessionIsDropped) {
  HOQStageSessionPtr left = session("hoqfile_deserializer");
  FakeParams params("item", true);
  HOQMessage message;
  HOQMessageIterator it(message);
  it.putString("item", FakeParams::kName);
  HOQMessageIterator child(it);
  ASSERT_TRUE(it.openChild(FakeParams::kOptions, child));
  child.putInt(0, FakeParams::kOptions);
  it.putEmpty(FakeParams::kRegular);
  ASSERT_EQ(left->create(message), 0);
  HOQChannelPtr channel = left->connector()->connect(HOQConnectionInfo());
  ASSERT_TRUE(channel);
  (void)left->callWithHandle("start_copying", channel->getDestinationEnd());
  left.reset();
  channel.reset();
  EXPECT_EQ(calls.await(1)[0].code, -1);
}

TEST_F(HaulStreams, AnswerUnknownFunctionalsAndStagesAndGoOn) {
  HOQStageSessionPtr unknown = session("no\nsuch");
  ASSERT_EQ(unknown->create(HOQMessage()), 0);
  EXPECT_EQ(unknown->call("copy"), -1);
  EXPECT_EQ(getErrorMessage(), "No functional \"no?such\" is known");
  EXPECT_EQ(unknown->finish(), 0);
  HOQStageSessionPtr known = session("hoqfile_deserializer");
  ASSERT_EQ(known->create(HOQMessage()), 0);
  EXPECT_NE(known->call("start_copying"), 0);
  EXPECT_EQ(known->finish(), 0);
  EXPECT_EQ(start(), 0) << getErrorMessage();
}

TEST_F(HaulStreams, RefuseTransfersBeyondTheLimit) {
  NodeServerSettings settings = nodeSettings();
  settings.requestsPerClient = 2;
  restart(settings);
  control.afterCopy = [&](HOQChannelPrototype&) {
    control.afterCopy = nullptr;
    FakeControl second(localAccess());
    second.afterCopy = [&](HOQChannelPrototype&) {
      FakeControl third(localAccess());
      EXPECT_NE(third.start(HOQConnectionInfo(), boost::make_shared<FakeParams>(),
                            HOQConnectionInfo{"node"}, boost::make_shared<FakeParams>()),
                0);
      EXPECT_NE(getErrorMessage().find("busy"), std::string::npos) << getErrorMessage();
      clearErrorMessage();
    };
    EXPECT_EQ(second.start(HOQConnectionInfo(), boost::make_shared<FakeParams>(),
                           HOQConnectionInfo{"node"}, boost::make_shared<FakeParams>()),
              0)
        << getErrorMessage();
  };
  EXPECT_EQ(start(), 0) << getErrorMessage();
}

TEST_F(HaulStreams, GiveWayWhenTheyAreIdleAndAreOpenedAnew) {
  NodeServerSettings settings = nodeSettings();
  settings.requestsPerClient = 1;
  restart(settings);
  ASSERT_EQ(start(), 0) << getErrorMessage();
  const auto other = newClient(nodes);
  NodeInfo info;
  for (int i = 0; i < 5; ++i) {
    HOQTransport::registerTransport(i % 2 == 0 ? &other->transport() : &client->transport());
    dropAccess();
    EXPECT_EQ(start(), 0) << i << " " << getErrorMessage();
  }
  dropAccess();
}

}  // namespace
}  // namespace HOQ::test
