// The stand-ins for the ends of a transfer on another node.
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQResultCodes.h>

#include <boost/smart_ptr/make_shared.hpp>

#include "filemanager/haul/HaulFixture.h"
#include "haul/HOQFileDeserializerParams.h"
#include "haul/HOQFileSerializerParams.h"
#include "support/MemoryTransport.h"
#include "support/TransferFactories.h"

namespace HOQ::test {
namespace {

using Calls = std::vector<std::string>;
using SerializerAgent = boost::intrusive_ptr<HOQFileSerializerAgentPrototype>;
using DeserializerAgent = boost::intrusive_ptr<HOQFileDeserializerAgentPrototype>;

class Agent : public HaulFixture {
 protected:
  void SetUp() override {
    HaulFixture::SetUp();
    access = transport.createAgent();
    ASSERT_EQ(access->initializeSync(HOQConnectionInfo{"node:1"}, nullptr), 0);
  }

  HOQHaulParamsPtr sending(const std::string& item) const {
    return boost::make_shared<HOQFileSerializerParams>(dir / item, HOQFilerOptions(0));
  }
  HOQHaulParamsPtr receiving(bool isRegular) const {
    const auto params = boost::make_shared<HOQFileDeserializerParams>(
        dir.path(), "t", HOQFilerOptions(0), 0, "n", isRegular);
    params->security = HOQSecurityAttributes(isRegular ? 0100600 : 040700);
    return params;
  }

  const TransferFactories<> factories;
  MemoryTransport transport;
  MemoryNode& node = transport.add("node:1");
  HOQAccessAgentPtr access;
};

TEST_F(Agent, TheSendingEndsStageIsCopy) {
  write("s", "text");
  const SerializerAgent one(new HOQFileSerializerAgentPrototype(node.eid, access));
  ASSERT_EQ(one->init(HOQConnectionInfo(), sending("s")), 0);
  ASSERT_EQ(one->create(), 0);
  const HOQChannelPtr channel = one->createConnectorFromSelf()->connect(HOQConnectionInfo());
  ASSERT_TRUE(channel);
  EXPECT_EQ(one->copy(channel->getSourceEnd()), 0);
  char bytes[20];
  std::uint64_t got = 0;
  EXPECT_EQ(channel->getDestinationEnd()->read(bytes, sizeof bytes, &got), 0);
  std::string came(bytes, got);
  if (came.size() < 12) {
    EXPECT_EQ(channel->getDestinationEnd()->read(bytes, sizeof bytes, &got), 0);
    came.append(bytes, got);
  }
  EXPECT_EQ(came, sizeHeader(4) + "text");
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(node.calls(),
            (Calls{"connect", "open hoqfile_serializer", "create", "channel", "copy", "finish"}));
}

TEST_F(Agent, TheReceivingEndsStagesAreStartAndWait) {
  const DeserializerAgent one(new HOQFileDeserializerAgentPrototype(node.eid, access));
  ASSERT_EQ(one->init(HOQConnectionInfo(), receiving(true)), 0);
  ASSERT_EQ(one->create(), 0);
  const HOQChannelPtr channel = one->createConnectorFromSelf()->connect(HOQConnectionInfo());
  ASSERT_TRUE(channel);
  EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), 0);
  const std::string stream = sizeHeader(3) + "new";
  std::uint64_t taken = 0;
  EXPECT_EQ(channel->getSourceEnd()->write(stream.data(), stream.size(), &taken), 0);
  EXPECT_EQ(one->waitCopyingFinish(), 0);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(read("t"), "new");
  EXPECT_EQ(modeOf("t"), 0600U);
  EXPECT_EQ(node.calls(), (Calls{"connect", "open hoqfile_deserializer", "create", "channel",
                                 "start_copying", "wait_copying_finish", "finish"}));
}

TEST_F(Agent, WithoutASessionStagesFail) {
  const SerializerAgent sender(new HOQFileSerializerAgentPrototype(node.eid, access));
  EXPECT_EQ(sender->copy(nullptr), -1);
  EXPECT_NE(getErrorMessage(), "");
  const DeserializerAgent receiver(new HOQFileDeserializerAgentPrototype(node.eid, access));
  EXPECT_EQ(receiver->startCopying(nullptr), -1);
  EXPECT_EQ(receiver->waitCopyingFinish(), -1);
  EXPECT_EQ(node.calls(), Calls{"connect"});
}

TEST_F(Agent, TheOtherNodesCodeAndTextComeBack) {
  write("t", "old");
  const DeserializerAgent one(new HOQFileDeserializerAgentPrototype(node.eid, access));
  ASSERT_EQ(one->init(HOQConnectionInfo(), receiving(true)), 0);
  ASSERT_EQ(one->create(), 0);
  const HOQChannelPtr channel = one->createConnectorFromSelf()->connect(HOQConnectionInfo());
  EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), -1);
  EXPECT_EQ(getErrorMessage(), "Can't overwrite \"" + dir / "t" + "\"");
}

// The record's elements stand in the message itself, beside the framework's.
TEST_F(Agent, ParametersStandDirectlyInTheMessage) {
  const SerializerAgent sender(new HOQFileSerializerAgentPrototype(node.eid, access));
  HOQMessage message;
  HOQMessageIterator it(message);
  EXPECT_EQ(sender->serializeParams(sending("s"), &it), 0);
  ASSERT_EQ(message.elements.size(), 2U);
  EXPECT_EQ(message.elements[0].id, 1156);
  EXPECT_EQ(message.elements[1].id, 1260);
  const auto back = boost::make_shared<HOQFileSerializerParams>("", HOQFilerOptions(9));
  EXPECT_EQ(sender->deserializeParams(&it, back), 0);
  EXPECT_EQ(back->srcPath, dir / "s");
  EXPECT_EQ(back->options.flags, 0);

  const DeserializerAgent receiver(new HOQFileDeserializerAgentPrototype(node.eid, access));
  HOQMessage other;
  HOQMessageIterator at(other);
  EXPECT_EQ(receiver->serializeParams(receiving(true), &at), 0);
  std::vector<int> ids;
  for (const HOQMessageElement& element : other.elements) ids.push_back(element.id);
  EXPECT_EQ(ids, (std::vector<int>{1157, 1154, 1260, 1422, 1026, 1158, 1161}));
  const auto filled =
      boost::make_shared<HOQFileDeserializerParams>("", "", HOQFilerOptions(9), 9, "", false);
  EXPECT_EQ(receiver->deserializeParams(&at, filled), 0);
  EXPECT_EQ(filled->cwd, dir.path());
  EXPECT_TRUE(filled->isRegular);
}

TEST_F(Agent, AFactorysTargetIsHandedOnUnchanged) {
  auto& kit = HOQFunctionality<HOQHaulControlFactory>::kit();
  for (const std::string target : {"", " other/ "}) {
    const auto sender =
        kit.getFileSerializerMultiplexer().createAgent("", node.eid, access, target);
    const auto receiver =
        kit.getFileDeserializerMultiplexer().createAgent("", node.eid, access, target);
    EXPECT_EQ(dynamic_cast<HOQRequestAgent&>(*sender).getTarget(), target);
    EXPECT_EQ(dynamic_cast<HOQRequestAgent&>(*receiver).getTarget(), target);
  }
}

}  // namespace
}  // namespace HOQ::test
