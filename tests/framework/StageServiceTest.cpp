#include <hoq/HOQStageService.h>

#include <functional>
#include <memory>
#include <utility>

#include "framework/HaulFixture.h"

namespace HOQ::test {
namespace {

constexpr const char* kSerializer = "hoqfile_serializer";
constexpr const char* kDeserializer = "hoqfile_deserializer";

using Kind = HOQMessageElement::Kind;

class StageService : public HaulTest {
 protected:
  static HOQMessage params(bool regular = true) {
    HOQMessage message;
    HOQMessageIterator it(message);
    it.putString("item", FakeParams::kName);
    it.putObj(HOQFilerOptions(1), FakeParams::kOptions);
    if (regular) it.putEmpty(FakeParams::kRegular);
    return message;
  }
  int create(const std::string& functional, HOQMessage message = params()) {
    return service.create(functional, message);
  }
  int call(const std::string& stage, const HOQChannelEndPtr& end = nullptr) {
    return service.call(stage, end);
  }
  void TearDown() override {
    owned.reset();
    HaulTest::TearDown();
  }
  // A refused call has this text, leaves no trace, and the service goes on.
  void expectRefused(int code, const std::string& text) {
    EXPECT_NE(code, 0);
    EXPECT_EQ(getErrorMessage(), text);
  }

  HOQAccessChecker::Scope scope{
      HOQAccessChecker::ClientContextPtr(new HOQClientContext("client", true, true))};
  HOQChannelPtr channel = newChannelMemory();
  std::unique_ptr<HOQStageService> owned{new HOQStageService};
  HOQStageService& service = *owned;
};

TEST_F(StageService, RunsAReceivingEnd) {
  ASSERT_EQ(create(kDeserializer), 0);
  ASSERT_EQ(call("start_copying", channel->getDestinationEnd()), 0);
  const std::uint64_t size = 3;
  std::uint64_t written = 0;
  ASSERT_EQ(channel->getSourceEnd()->write(&size, sizeof size, &written), 0);
  ASSERT_EQ(channel->getSourceEnd()->write("abc", 3, &written), 0);
  EXPECT_EQ(call("wait_copying_finish"), 0);
  EXPECT_EQ(service.finish(), 0);
  EXPECT_EQ(world.received, "abc");
  EXPECT_TRUE(world.kept);
}

TEST_F(StageService, RunsASendingEnd) {
  ASSERT_EQ(create(kSerializer), 0);
  EXPECT_EQ(call("copy", channel->getSourceEnd()), 0);
  EXPECT_EQ(service.finish(), 0);
  char bytes[100];
  std::uint64_t got = 0;
  ASSERT_EQ(channel->getDestinationEnd()->read(bytes, sizeof bytes, &got), 0);
  EXPECT_EQ(std::string(bytes + 8, got - 8), world.contents);
}

TEST_F(StageService, KnowsWhichStagesTakeAnEnd) {
  EXPECT_TRUE(HOQStageService::takesEnd("copy"));
  EXPECT_TRUE(HOQStageService::takesEnd("start_copying"));
  EXPECT_FALSE(HOQStageService::takesEnd("wait_copying_finish"));
  for (const char* const other : {"", "Copy", "copy ", "copying", "finish"})
    EXPECT_FALSE(HOQStageService::takesEnd(other));
}

TEST_F(StageService, AsksForTheRightToReadToSendAndToChangeToReceive) {
  struct Case {
    bool mayRead, mayChange;
    int sending, receiving;
  };
  for (const Case& each : {Case{false, false, 414, 414}, Case{true, false, 0, 414},
                           Case{false, true, 414, 0}, Case{true, true, 0, 0}}) {
    const HOQAccessChecker::Scope client(HOQAccessChecker::ClientContextPtr(
        new HOQClientContext("client", each.mayRead, each.mayChange)));
    EXPECT_EQ(create(kSerializer), each.sending);
    EXPECT_EQ(service.finish(), 0);
    EXPECT_EQ(create(kDeserializer), each.receiving);
    EXPECT_EQ(service.finish(), 0);
  }
  const HOQAccessChecker::Scope nobody{HOQAccessChecker::ClientContextPtr()};
  EXPECT_EQ(create(kSerializer), 414);
  EXPECT_EQ(getErrorMessage(), "Access refused");
}

TEST_F(StageService, RefusesFunctionalsThatItDoesNotKnow) {
  expectRefused(create(""), "No functional \"\" is known");
  expectRefused(create("hoqfile_Serializer"), "No functional \"hoqfile_Serializer\" is known");
  expectRefused(create("a\n%s\xff"), "No functional \"a?%s?\" is known");
  expectRefused(create(std::string(5'000'000, 'x')),
                "No functional \"" + std::string(64, 'x') + "...\" is known");
  EXPECT_EQ(create(kSerializer), 0);
}

TEST_F(StageService, RefusesStagesThatItDoesNotKnowOrThatComeOutOfOrder) {
  const HOQChannelEndPtr end = channel->getDestinationEnd();
  expectRefused(call("copy", end), "Stage \"copy\" came before anything was created");
  expectRefused(call("wait_copying_finish"),
                "Stage \"wait_copying_finish\" came before anything was created");
  ASSERT_EQ(create(kDeserializer), 0);
  expectRefused(create(kDeserializer), "A transfer is under way already");
  expectRefused(call(""), "No stage \"\" is known");
  expectRefused(call("finish"), "No stage \"finish\" is known");
  expectRefused(call(std::string(100, 'y')),
                "No stage \"" + std::string(64, 'y') + "...\" is known");
  expectRefused(call("copy", end), "\"hoqfile_deserializer\" has no stage \"copy\"");
  expectRefused(call("wait_copying_finish"), "Stage \"wait_copying_finish\" came out of order");
  expectRefused(call("start_copying"), "Stage \"start_copying\" came without an end of a channel");
  ASSERT_EQ(call("start_copying", end), 0);
  expectRefused(call("start_copying", end), "Stage \"start_copying\" came out of order");
  expectRefused(call("wait_copying_finish", end),
                "Stage \"wait_copying_finish\" takes no end of a channel");

  // All that was refused, and the transfer still comes to its end.
  const std::uint64_t size = 0;
  std::uint64_t written = 0;
  ASSERT_EQ(channel->getSourceEnd()->write(&size, sizeof size, &written), 0);
  EXPECT_EQ(call("wait_copying_finish"), 0);
  expectRefused(call("wait_copying_finish"), "Stage \"wait_copying_finish\" came out of order");
  EXPECT_EQ(service.finish(), 0);
  expectRefused(call("start_copying", end),
                "Stage \"start_copying\" came before anything was created");
}

TEST_F(StageService, RunsNoFurtherStageAfterOneThatFailed) {
  world.strikes = [](const std::string& name) { return name == "start"; };
  ASSERT_EQ(create(kDeserializer), 0);
  EXPECT_EQ(call("start_copying", channel->getDestinationEnd()), -1);
  EXPECT_EQ(getErrorMessage(), "start was struck");
  world.strikes = nullptr;
  expectRefused(call("start_copying", channel->getDestinationEnd()),
                "Stage \"start_copying\" came out of order");
  expectRefused(call("wait_copying_finish"), "Stage \"wait_copying_finish\" came out of order");
  EXPECT_EQ(service.finish(), 0);
  EXPECT_EQ(create(kDeserializer), 0) << "the next transfer";
}

TEST_F(StageService, RefusesParametersThatLackAnElement) {
  using Change = std::function<void(HOQMessage&)>;
  struct Case {
    const char* text;
    Change change;
  };
  const Case kCases[] = {
      {"Element 1156 is missing", [](HOQMessage& m) { m.elements.clear(); }},
      {"Element 1156 is missing", [](HOQMessage& m) { m.elements[0].id = 1; }},
      {"Element 1156 is of the wrong kind",
       [](HOQMessage& m) { m.elements[0].kind = Kind::kPath; }},
      {"Element 1156 is of the wrong kind",
       [](HOQMessage& m) { m.elements[0].kind = Kind::kChild; }},
      {"Element 1156 is of the wrong kind",
       [](HOQMessage& m) {  // the first of a number counts
         m.elements.insert(m.elements.begin(), HOQMessageElement());
         m.elements[0].id = 1156;
       }},
      {"Element 1260 is missing", [](HOQMessage& m) { m.elements.erase(m.elements.begin() + 1); }},
      {"Element 1260 is of the wrong kind", [](HOQMessage& m) { m.elements[1].kind = Kind::kInt; }},
      {"Element 1261 is missing", [](HOQMessage& m) { m.elements[1].child.elements.clear(); }},
      {"Element 1261 is of the wrong kind",
       [](HOQMessage& m) { m.elements[1].child.elements[0].kind = Kind::kEmpty; }},
      {"The parameters are nested too deep",
       [](HOQMessage& m) {
         HOQMessage* at = &m;
         for (int level = 0; level < 1000; ++level) {
           at->elements.emplace_back();
           at->elements.back().kind = Kind::kChild;
           at = &at->elements.back().child;
         }
       }},
  };
  for (const Case& each : kCases) {
    HOQMessage message = params();
    each.change(message);
    expectRefused(create(kDeserializer, std::move(message)), each.text);
    EXPECT_EQ(world.alive, 0);
  }
  HOQMessage more = params();
  HOQMessageIterator it(more);
  it.putString("nobody asked for it", 4711);
  EXPECT_EQ(create(kDeserializer, std::move(more)), 0);
}

TEST_F(StageService, TellsWhyAnEndCannotBeSetUp) {
  for (const char* const struck : {"sender init", "sender create"}) {
    world.strikes = [&](const std::string& name) { return name == struck; };
    expectRefused(create(kSerializer), std::string(struck) + " was struck");
    EXPECT_EQ(world.alive, 0);
  }
  world.saysWhy = false;
  world.strikes = [](const std::string& name) { return name == "sender create"; };
  expectRefused(create(kSerializer), "\"create\" failed with -1");
  world.strikes = nullptr;
  EXPECT_EQ(create(kSerializer), 0);
}

TEST_F(StageService, TellsWhatTheChannelSuffered) {
  ASSERT_EQ(create(kSerializer), 0);
  channel->giveUp("the other side's disk is full");
  EXPECT_EQ(call("copy", channel->getSourceEnd()), -1) << "not even the size was sent";
  EXPECT_EQ(getErrorMessage(), "the other side's disk is full");
}

TEST_F(StageService, LeavesTheTextOfAStageThatFailedWithoutACode) {
  world.strikes = [](const std::string& name) { return name == "get"; };
  ASSERT_EQ(create(kSerializer), 0);
  EXPECT_EQ(call("copy", channel->getSourceEnd()), 0);
  EXPECT_EQ(getErrorMessage(), "Cannot send the item");
  EXPECT_EQ(service.finish(), 0);
  EXPECT_EQ(getErrorMessage(), "") << "each call starts without a text";
}

TEST_F(StageService, EndsAtMostOnce) {
  EXPECT_EQ(service.finish(), 0);
  ASSERT_EQ(create(kDeserializer, params(false)), 0);
  ASSERT_EQ(call("start_copying", channel->getDestinationEnd()), 0);
  EXPECT_EQ(service.finish(), 0);
  EXPECT_EQ(service.finish(), 0);
  EXPECT_TRUE(world.kept);
  EXPECT_EQ(world.alive, 0);
}

TEST_F(StageService, FailsToFinishAnItemThatDidNotComeWhole) {
  ASSERT_EQ(create(kDeserializer), 0);
  ASSERT_EQ(call("start_copying", channel->getDestinationEnd()), 0);
  channel->giveUp("the source is gone");
  expectRefused(service.finish(), "the source is gone");
  EXPECT_FALSE(world.kept);
  EXPECT_EQ(world.alive, 0);
}

TEST_F(StageService, TakesDownATransferThatIsUnderWayWhenItGoes) {
  {
    HOQStageService passing;
    HOQMessage message = params();
    ASSERT_EQ(passing.create(kDeserializer, message), 0);
    ASSERT_EQ(passing.call("start_copying", channel->getDestinationEnd()), 0);
  }
  EXPECT_FALSE(world.kept);
  EXPECT_EQ(world.unjoined, 0);
  EXPECT_EQ(channel->failure(), "The other side has left the transfer");
}

TEST(StageServiceOfABareProcess, SaysThatNoEndIsRegistered) {
  const HOQAccessChecker::Scope scope{
      HOQAccessChecker::ClientContextPtr(new HOQClientContext("client", true, true))};
  HOQStageService service;
  HOQMessage message;
  EXPECT_EQ(service.create(kDeserializer, message), -1);
  EXPECT_EQ(getErrorMessage(),
            "No receiving end of transfers in this process is registered as \"\"");
}

}  // namespace
}  // namespace HOQ::test
