#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQResultCodes.h>
#include <hoq/HOQVersion.h>

#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;

TEST(NodeClient, SaysWhoANodeIs) {
  const NodeServerSettings settings = nodeSettings(true, false);
  OnNode<> node(settings);
  NodeInfo info;
  const auto before = std::chrono::system_clock::now() - std::chrono::hours(1);
  const NodeOutcome outcome = node.client->info("node", info);
  EXPECT_EQ(outcome.failure, NodeFailure::kNone) << outcome.text;
  EXPECT_EQ(info.version, frameworkVersion());
  EXPECT_EQ(info.eid, settings.eid);
  EXPECT_EQ(info.client, "a test's client");
  EXPECT_TRUE(info.mayRead);
  EXPECT_FALSE(info.mayChange);
  EXPECT_GT(info.clock, before);
  EXPECT_GT(info.roundTrip.count(), 0);
}

TEST(NodeClient, ReportsTheProcessesOwnIdentifierUnlessAnotherIsGiven) {
  NodeServerSettings settings = nodeSettings();
  settings.eid = HOQEID();
  OnNode<> node(settings);
  NodeInfo info;
  EXPECT_EQ(node.client->info("node", info).failure, NodeFailure::kNone);
  EXPECT_EQ(info.eid, nodeEID());
}

TEST(NodeClient, ConnectsOnceToEachAddress) {
  OnNode<> node;
  NodeInfo info;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(node.client->info("node", info).failure, NodeFailure::kNone);
    EXPECT_EQ(node.newFiler()->remove({}, 0), 0);
  }
  EXPECT_EQ(node.nodes.dialled(), 1);
  node.nodes.add("other");
  EXPECT_EQ(node.client->info("other", info).failure, NodeFailure::kNone);
  EXPECT_EQ(node.nodes.dialled(), 2);
  node.client->forget("node");
  EXPECT_EQ(node.client->info("node", info).failure, NodeFailure::kNone);
  EXPECT_EQ(node.nodes.dialled(), 3);
}

TEST(NodeClient, TellsHowANodeCannotBeReached) {
  OnNode<> node;
  struct Case {
    NodeFailure failure;
    int transferCode;
  };
  for (const Case each : {Case{NodeFailure::kUnreachable, kNodeUnreachable},
                          Case{NodeFailure::kUntrusted, kNodeUnreachable},
                          Case{NodeFailure::kRefused, kNodeRefused}}) {
    node.nodes.instead = [&](const std::string&) { return Dialled{-1, each.failure, "100%s"}; };
    node.client->forget("node");
    node.handler->errors.clear();
    NodeInfo info;
    EXPECT_EQ(node.client->info("node", info).failure, each.failure);
    EXPECT_EQ(node.filer->remove({"x"}, 0), -1);
    EXPECT_EQ(node.filer->failure(), each.failure);
    ASSERT_EQ(node.handler->messages(),
              std::vector<std::string>{"Cannot connect to node \"node\": 100%s"});
    const HOQAccessAgentPtr agent = node.client->transport().createAgent();
    EXPECT_EQ(agent->initializeSync(HOQConnectionInfo{"node"}, nullptr), each.transferCode);
    EXPECT_EQ(getErrorMessage(), "Cannot connect to node \"node\": 100%s");
  }
}

TEST(NodeClient, ForgetsAFailureWithTheNextRequest) {
  OnNode<> node;
  node.nodes.instead = [](const std::string&) {
    return Dialled{-1, NodeFailure::kUnreachable, "not yet"};
  };
  EXPECT_EQ(node.filer->remove({}, 0), -1);
  node.nodes.instead = nullptr;
  EXPECT_EQ(node.filer->remove({}, 0), 0);
  EXPECT_EQ(node.filer->failure(), NodeFailure::kNone);
}

TEST(NodeClient, RefusesTransfersToANodeThatGrantsNothing) {
  OnNode<> node(nodeSettings(false, false));
  const HOQAccessAgentPtr agent = node.client->transport().createAgent();
  EXPECT_EQ(agent->initializeSync(HOQConnectionInfo{"node"}, nullptr), kNodeRefused);
}

TEST(NodeClient, SetsTheErrorTextWhereNobodyHearsOfErrors) {
  OnNode<> node;
  const auto filer = node.client->filer("nowhere");
  clearErrorMessage();
  EXPECT_EQ(filer->remove({"x"}, 0), -1);
  EXPECT_EQ(getErrorMessage(), "Cannot connect to node \"nowhere\": nobody is there");
}

TEST(NodeClient, RefusesARequestThatIsLargerThanAMessage) {
  OnNode<> node(nodeSettings(), 100'000);
  EXPECT_EQ(node.filer->remove({std::string(100'001, 'x')}, 0), -1);
  EXPECT_EQ(node.filer->failure(), NodeFailure::kProtocol);
  EXPECT_EQ(node.handler->messages(),
            std::vector<std::string>{"The request is too large for one message to node \"node\""});
  EXPECT_EQ(node.filer->remove({}, 0), 0);
}

}  // namespace
}  // namespace HOQ::test
