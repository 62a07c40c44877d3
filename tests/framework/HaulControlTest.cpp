#include <hoq/HOQHaulControlFactory.h>

#include <stdexcept>
#include <utility>

#include "framework/HaulFixture.h"
#include "support/ChannelContract.h"
#include "support/CollectingHandler.h"

namespace HOQ::test {
namespace {

using Calls = std::vector<std::string>;

using HaulControl = HaulTest;

TEST_F(HaulControl, PassesAnItemBetweenEndsInThisProcess) {
  for (const std::size_t size : {0, 1, 4095, 4096, 4097, 3'000'000}) {
    SCOPED_TRACE(size);
    world.contents = pattern(size);
    setErrorMessage("left by somebody else");
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(getErrorMessage(), "");
    EXPECT_TRUE(world.received == world.contents);
    EXPECT_TRUE(world.kept);
  }
}

TEST_F(HaulControl, CallsTheEndsInOrder) {
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(world.calls(),
            (Calls{"make sender", "make receiver", "sender init", "sender create", "receiver init",
                   "receiver create", "receiver connector", "connect", "start", "copy", "wait",
                   "sender finish", "receiver finish"}));
}

TEST_F(HaulControl, SendsNothingForAnItemWithoutContents) {
  EXPECT_EQ(start("local:", false), 0);
  EXPECT_TRUE(world.kept);
  for (const std::string& call : world.calls()) EXPECT_TRUE(call != "copy" && call != "wait");
}

TEST_F(HaulControl, MakesFreshEndsForEveryItem) {
  for (int item = 1; item <= 3; ++item) {
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(world.ends, 2 * item);
    EXPECT_EQ(world.alive, 0);
  }
}

TEST_F(HaulControl, GoesOnAfterAFailedItem) {
  world.strikes = [](const std::string& call) { return call == "copy"; };
  EXPECT_EQ(start(), -3);
  world.strikes = nullptr;
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_EQ(world.received, world.contents);
}

TEST_F(HaulControl, SendsFromThisNodeOnly) {
  const auto params = boost::make_shared<FakeParams>();
  for (const char* const here : {"", "local:"})
    EXPECT_EQ(control.start(HOQConnectionInfo{here}, params, HOQConnectionInfo{"local:"}, params),
              0);
  const std::size_t calls = world.calls().size();
  EXPECT_EQ(control.start(HOQConnectionInfo{"node:1"}, params, HOQConnectionInfo{"local:"}, params),
            -1);
  EXPECT_EQ(getErrorMessage(), "Cannot send from \"node:1\": a transfer starts at this node");
  EXPECT_EQ(world.calls().size(), calls);
}

TEST_F(HaulControl, RefusesATransferWithoutADestination) {
  EXPECT_EQ(start(""), -1);
  EXPECT_EQ(getErrorMessage(), "No node is named to send to");
}

TEST_F(HaulControl, RefusesATransferWithoutParameters) {
  const auto params = boost::make_shared<FakeParams>();
  const HOQConnectionInfo here{"local:"};
  EXPECT_EQ(control.start(here, HOQHaulParamsPtr(), here, params), -1);
  EXPECT_EQ(getErrorMessage(), "An end of a transfer has no parameters");
  EXPECT_EQ(control.start(here, params, here, HOQHaulParamsPtr()), -1);
  EXPECT_EQ(getErrorMessage(), "An end of a transfer has no parameters");
}

TEST_F(HaulControl, HandsNewsOnThroughTheRequest) {
  const CollectingHandlerPtr handler(new CollectingHandler);
  control.async(handler, "session");
  EXPECT_EQ(control.getContext()->getHandler(), handler);
  EXPECT_EQ(control.getContext()->session, "session");
  EXPECT_EQ(start(), 0);
  EXPECT_TRUE(handler->events.empty());
}

TEST(HaulConnection, IsNeededForAnotherNodeOnly) {
  const HOQEID untouched(3, 4);
  for (const char* const target : {"", "local:"}) {
    HOQEID eid = untouched;
    EXPECT_EQ(HOQHaulControl::checkConnectionParams(HOQConnectionInfo{target}, eid), 0);
    EXPECT_EQ(eid, nodeEID());
  }
  for (const char* const target : {"host:7850", "[::1]:1", "unix:/run/x", "local", "local:/x"}) {
    HOQEID eid = untouched;
    EXPECT_NE(HOQHaulControl::checkConnectionParams(HOQConnectionInfo{target}, eid), 0) << target;
    EXPECT_EQ(eid, untouched);
  }
}

// What goes wrong, and what the caller is told.
struct Failure {
  const char* call;
  int code;
  const char* text;
  const char* textOfNone;  // when the failing call says nothing
};

const Failure kFailures[] = {
    {"make sender", -1, "The sending end of the transfer cannot be made", nullptr},
    {"make receiver", -1, "The receiving end of the transfer cannot be made", nullptr},
    {"sender init", -1, "sender init was struck",
     "The sending end of the transfer cannot be set up"},
    {"sender create", -1, "sender create was struck",
     "The sending end of the transfer cannot be set up"},
    {"receiver init", -1, "receiver init was struck",
     "The receiving end of the transfer cannot be set up"},
    {"receiver create", -1, "receiver create was struck",
     "The receiving end of the transfer cannot be set up"},
    {"receiver connector", -1, "no connector today", "No data channel can be opened"},
    {"connect", -1, "no channel today", "The transfer failed with -1"},
    {"start", -2, "start was struck", "The transfer failed with -2"},
    {"copy", -3, "copy was struck", "The transfer failed with -3"},
    {"wait", -4, "wait was struck", "The transfer failed with -4"},
    {"get", -1, "Cannot send the item", "Cannot send the item"},
    {"put", -1, "The item cannot be kept", "The item cannot be kept"},
    {"sender finish", -1, "sender finish was struck", "The transfer failed with -1"},
    {"receiver finish", -1, "receiver finish was struck", "The transfer failed with -1"},
};

TEST_F(HaulControl, TellsWhatFailed) {
  for (const bool says : {true, false}) {
    for (const Failure& each : kFailures) {
      SCOPED_TRACE(std::string(each.call) + (says ? "" : ", without a text"));
      world.saysWhy = says;
      world.kept = false;
      world.strikes = [&](const std::string& call) { return call == each.call; };
      EXPECT_EQ(start(), each.code);
      EXPECT_EQ(getErrorMessage(),
                says || each.textOfNone == nullptr ? each.text : each.textOfNone);
      EXPECT_EQ(world.kept, std::string(each.call) == "receiver finish");
      EXPECT_EQ(world.alive, 0);
    }
  }
}

TEST_F(HaulControl, TakesAShortStreamForAFailure) {
  world.announcedBeyond = 1;
  EXPECT_EQ(start(), -1);
  EXPECT_EQ(getErrorMessage(), "There is no more of the item");
  EXPECT_FALSE(world.kept);
}

TEST_F(HaulControl, TakesAnErrorTextForAFailureAlthoughTheCodesSaySuccess) {
  control.afterCopy = [](HOQChannelPrototype&) { setErrorMessage("%s", "100%s of it is odd"); };
  EXPECT_EQ(start(), -1);
  EXPECT_EQ(getErrorMessage(), "100%s of it is odd");
  EXPECT_FALSE(world.kept);
}

TEST_F(HaulControl, TakesAChannelThatWasGivenUpForAFailure) {
  control.afterCopy = [](HOQChannelPrototype& channel) { channel.giveUp("cut from outside"); };
  EXPECT_EQ(start(), -1);
  EXPECT_EQ(getErrorMessage(), "cut from outside");
  EXPECT_FALSE(world.kept);
}

TEST_F(HaulControl, TakesAChannelThatFailedForAFailureAlthoughBothEndsAreContent) {
  world.looksAtChannel = false;
  class Late : public FakeControl {
   public:
    using FakeControl::FakeControl;
    int process() override {
      const int code = FakeControl::process();
      last->giveUp("cut at the end");
      return code;
    }
    HOQChannelPtr last;
  };
  Late late(localAccess());
  late.afterCopy = [&late](HOQChannelPrototype& channel) { late.last.reset(&channel); };
  const auto params = boost::make_shared<FakeParams>();
  EXPECT_EQ(late.start(HOQConnectionInfo(), params, HOQConnectionInfo{"local:"}, params), -1);
  EXPECT_EQ(getErrorMessage(), "cut at the end");
}

TEST_F(HaulControl, GivesTheChannelOfAFailedTransferUpBeforeItJoinsTheReceiver) {
  world.limits.idle = std::chrono::seconds(2);  // ends the wait with another text, if nobody does
  world.strikes = [](const std::string& call) { return call == "copy"; };
  EXPECT_EQ(start(), -3);
  EXPECT_EQ(world.why, "copy was struck");
}

TEST_F(HaulControl, EndsAReceiverToWhomNothingComesAtTheIdleLimit) {
  world.limits.idle = std::chrono::milliseconds(10);
  // Nothing is sent, and the source end is neither closed nor given up.
  class Silent : public FakeControl {
   public:
    using FakeControl::FakeControl;
    int process() override {
      const HOQChannelPtr channel = connector->connect(connection);
      EXPECT_EQ(deserializer->startCopying(channel->getDestinationEnd()), 0);
      return deserializer->waitCopyingFinish();
    }
  };
  Silent silent(localAccess());
  const auto params = boost::make_shared<FakeParams>();
  EXPECT_EQ(silent.start(HOQConnectionInfo(), params, HOQConnectionInfo{"local:"}, params), -1);
  EXPECT_EQ(getErrorMessage(), "The channel stood still for 10 ms");
  EXPECT_FALSE(world.kept);
}

TEST_F(HaulControl, TakesEverythingDownWhenAnExceptionPasses) {
  control.afterCopy = [](HOQChannelPrototype&) -> void { throw std::runtime_error("no memory"); };
  EXPECT_THROW(start(), std::runtime_error);
  EXPECT_FALSE(world.kept);
  EXPECT_EQ(world.alive, 0);
}

// The n-th call of an end or a channel fails, for every n.
TEST_F(HaulControl, LeavesNothingBehindWhicheverCallFails) {
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
      const int code = start();
      if (struck.empty()) {
        EXPECT_EQ(code, 0);
        EXPECT_GT(n, 20) << "calls were struck";
        break;
      }
      EXPECT_NE(code, 0) << "call " << n << ": " << struck;
      EXPECT_NE(getErrorMessage(), "") << "call " << n << ": " << struck;
      EXPECT_EQ(world.kept, struck == "receiver finish") << "call " << n << ": " << struck;
      ASSERT_EQ(world.alive, 0) << "call " << n << ": " << struck;
      ASSERT_EQ(world.unjoined, 0) << "call " << n << ": " << struck;
    }
  }
}

HOQHaulControlFactory& kit() { return HOQFunctionality<HOQHaulControlFactory>::kit(); }

using HaulKit = HaulTest;

TEST_F(HaulKit, MakesTheEndThatWorksHereForThisNodeAndForNone) {
  for (const HOQEID& here : {HOQEID::EID_INVALID, HOQEID(), nodeEID()}) {
    const auto serializer = kit().getFileSerializerAgent(here, localAccess(), "");
    const auto deserializer = kit().getFileDeserializerAgent(here, localAccess(), "");
    EXPECT_TRUE(dynamic_cast<FakeSerializer*>(serializer.get()));
    EXPECT_TRUE(dynamic_cast<FakeDeserializer*>(deserializer.get()));
  }
}

TEST_F(HaulKit, MakesAStandInForAnotherNode) {
  const HOQEID there(5, 6);
  const auto serializer = kit().getFileSerializerAgent(there, localAccess(), "");
  const auto deserializer = kit().getFileDeserializerAgent(there, localAccess(), "");
  for (const HOQHaulSerializerBasePrototype* end :
       {static_cast<const HOQHaulSerializerBasePrototype*>(serializer.get()),
        static_cast<const HOQHaulSerializerBasePrototype*>(deserializer.get())}) {
    const auto* const standIn = dynamic_cast<const HOQHaulSerializerBaseAgentPrototype*>(end);
    ASSERT_TRUE(standIn);
    EXPECT_EQ(standIn->getEID(), there);
    EXPECT_EQ(standIn->getAccess(), localAccess());
    EXPECT_EQ(standIn->getTarget(), "");
  }
}

TEST_F(HaulKit, MakesAControlThatWorksHere) {
  const auto made = kit().getFileControlLocal(localAccess(), "");
  ASSERT_TRUE(dynamic_cast<FakeControl*>(made.get()));
  EXPECT_EQ(made->getAccess(), localAccess());
}

TEST(EmptyHaulKit, SaysWhatIsNotRegistered) {
  clearErrorMessage();
  EXPECT_FALSE(kit().getFileControlLocal(localAccess(), "a%s"));
  EXPECT_EQ(getErrorMessage(), "No control of file transfers is registered as \"a%s\"");
  EXPECT_FALSE(kit().getFileSerializerAgent(HOQEID(), localAccess(), ""));
  EXPECT_EQ(getErrorMessage(), "No sending end of transfers in this process is registered as \"\"");
  EXPECT_FALSE(kit().getFileDeserializerAgent(HOQEID(5, 6), localAccess(), ""));
  EXPECT_EQ(getErrorMessage(),
            "No receiving end of transfers with another node is registered as \"\"");
}

}  // namespace
}  // namespace HOQ::test
