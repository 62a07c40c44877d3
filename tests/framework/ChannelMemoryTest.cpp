#include <gtest/gtest.h>
#include <hoq/HOQChannelMemory.h>

#include <thread>

#include "support/ChannelContract.h"
#include "support/ResourceCount.h"

namespace HOQ {
namespace test {
namespace {

OpenChannel openMemory(const HOQChannelLimits& limits) {
  const HOQChannelPtr channel = newConnectorMemory(limits)->connect(HOQConnectionInfo());
  OpenChannel open{channel->getSourceEnd(), channel->getDestinationEnd(), nullptr};
  channel->release();
  return open;
}

INSTANTIATE_TEST_SUITE_P(Memory, ChannelContract,
                         testing::Values(ChannelKind{"memory", openMemory, 64 << 10}));

constexpr HOQChannelLimits kTiny{10, std::chrono::milliseconds(5)};

int put(const HOQChannelEndPtr& end, const std::string& bytes) {
  std::uint64_t written = 77;
  const int code = end->write(bytes.data(), bytes.size(), &written);
  EXPECT_EQ(written, code == 0 ? bytes.size() : 0u);
  return code;
}

// What one read of at most `count` bytes yields; "failed" when it fails.
std::string take(const HOQChannelEndPtr& end, std::size_t count) {
  std::string bytes(count, '\0');
  std::uint64_t got = 0;
  if (end->read(bytes.data(), count, &got) != 0) return "failed";
  bytes.resize(got);
  return bytes;
}

TEST(ChannelMemory, GivesTheSameEndAtEveryCallUntilItIsReleased) {
  const HOQChannelPtr channel = newChannelMemory();
  const HOQChannelEndPtr source = channel->getSourceEnd();
  EXPECT_EQ(channel->getSourceEnd(), source);
  EXPECT_NE(channel->getDestinationEnd(), source);
  EXPECT_TRUE(source->stands());
  channel->release();  // nobody holds the other end any more
  EXPECT_FALSE(source->stands());
  EXPECT_FALSE(channel->getSourceEnd() || channel->getDestinationEnd());
  EXPECT_EQ(channel->failure(), "The other end of the channel is gone");
}

TEST(ChannelMemory, PassesBytesBothWaysIndependently) {
  const OpenChannel open = openMemory(kTiny);
  EXPECT_EQ(put(open.source, "there"), 0);
  EXPECT_EQ(put(open.destination, "back"), 0);
  EXPECT_EQ(take(open.source, 9), "back");
  EXPECT_EQ(take(open.destination, 9), "there");
  open.source->close();
  EXPECT_EQ(take(open.destination, 9), "");
  EXPECT_EQ(put(open.destination, "still"), 0);
  EXPECT_EQ(take(open.source, 9), "still");
  EXPECT_TRUE(open.source->stands() && open.destination->stands());
}

TEST(ChannelMemory, HoldsExactlyItsLimit) {
  const OpenChannel open = openMemory(kTiny);
  EXPECT_EQ(put(open.source, "0123456789"), 0);
  EXPECT_NE(put(open.source, "x"), 0);
  EXPECT_EQ(open.source->failure(), "The channel stood still for 5 ms");
  EXPECT_EQ(take(open.destination, 10), "failed");
}

TEST(ChannelMemory, NamesAnIdleLimitOfWholeSecondsInSeconds) {
  const OpenChannel open = openMemory({10, std::chrono::milliseconds(0)});
  EXPECT_EQ(take(open.destination, 1), "failed");
  EXPECT_EQ(open.destination->failure(), "The channel stood still for 0 s");
}

TEST(ChannelMemory, TakesLimitsOutOfReason) {
  const OpenChannel none = openMemory({0, std::chrono::milliseconds(1)});
  EXPECT_EQ(put(none.source, "x"), 0);
  EXPECT_EQ(take(none.destination, 5), "x");

  const OpenChannel endless = openMemory({10, std::chrono::milliseconds::max()});
  std::thread writer([&] { EXPECT_EQ(put(endless.source, pattern(1000)), 0); });
  std::string got;
  while (got.size() < 1000) got += take(endless.destination, 3);
  writer.join();
  EXPECT_EQ(got, pattern(1000));
}

// A model of a queue says what every read yields, whatever the places in memory.
TEST(ChannelMemory, KeepsTheOrderOverItsOwnBorder) {
  const OpenChannel open = openMemory(kTiny);
  std::string model;
  std::size_t sent = 0;
  for (std::size_t turn = 0; turn < 500; ++turn) {
    const std::size_t in = std::min<std::size_t>((turn * 7) % 11, 10 - model.size());
    ASSERT_EQ(put(open.source, pattern(in, sent)), 0);
    model += pattern(in, sent);
    sent += in;
    if (model.empty()) continue;
    const std::size_t out = 1 + (turn * 5) % 9;
    ASSERT_EQ(take(open.destination, out), model.substr(0, out)) << "turn " << turn;
    model.erase(0, out);
  }
  EXPECT_GT(sent, 1000u);
}

TEST(ChannelMemory, LetsWhatWasWrittenBeReadBeforeADroppedEndFails) {
  OpenChannel open = openMemory(kTiny);
  ASSERT_EQ(put(open.source, "before"), 0);
  open.source.reset();
  EXPECT_EQ(take(open.destination, 4), "befo");
  EXPECT_EQ(take(open.destination, 4), "re");
  EXPECT_EQ(take(open.destination, 4), "failed");
  EXPECT_EQ(open.destination->failure(), "The other end of the channel is gone");
}

TEST(ChannelMemory, IsNotFailedByAnEndThatWasClosedAndThenDropped) {
  OpenChannel open = openMemory(kTiny);
  ASSERT_EQ(put(open.source, "all"), 0);
  open.source->close();
  open.source.reset();
  EXPECT_EQ(take(open.destination, 9), "all");
  EXPECT_EQ(take(open.destination, 9), "");
  EXPECT_EQ(open.destination->failure(), "");
  EXPECT_NE(put(open.destination, "late"), 0);  // nobody is there to read it
  EXPECT_EQ(open.destination->failure(), "The other end of the channel is gone");
}

TEST(ChannelMemory, IsGivenUpThroughTheChannelAfterItLetItsEndsGo) {
  const HOQChannelPtr channel = newChannelMemory();
  const HOQChannelEndPtr source = channel->getSourceEnd();
  const HOQChannelEndPtr destination = channel->getDestinationEnd();
  channel->release();
  EXPECT_EQ(channel->failure(), "");
  channel->giveUp("enough");
  EXPECT_EQ(take(destination, 1), "failed");
  EXPECT_EQ(source->failure(), "enough");
  EXPECT_EQ(channel->failure(), "enough");
}

TEST(ChannelMemory, SaysSomethingWhenGivenUpWithoutAText) {
  const OpenChannel open = openMemory(kTiny);
  open.source->giveUp("");
  EXPECT_NE(open.destination->failure(), "");
  EXPECT_EQ(take(open.destination, 1), "failed");
}

TEST(ChannelMemory, TakesNeitherThreadsNorDescriptors) {
  const ResourceCount before;
  const OpenChannel open = openMemory(HOQChannelLimits());
  ASSERT_EQ(put(open.source, pattern(100'000)), 0);
  EXPECT_EQ(before.difference(), "");
}

TEST(ChannelLimits, AreAMegabyteAndAMinuteUntilTheProcessSaysOtherwise) {
  const HOQChannelLimits usual = channelLimits();
  EXPECT_EQ(usual.bytes, 1048576u);
  EXPECT_EQ(usual.idle, std::chrono::seconds(60));
  setChannelLimits(kTiny);
  const HOQChannelPtr channel = newChannelMemory();
  setChannelLimits(usual);
  EXPECT_NE(put(channel->getSourceEnd(), "more than ten bytes"), 0);
}

// An end that overrides only what it must.
class BareEnd : public HOQChannelEndPrototype {
 public:
  int read(void*, std::uint64_t, std::uint64_t*) override { return -1; }
  int write(const void*, std::uint64_t, std::uint64_t*) override { return -1; }
  void close() override {}
};

TEST(ChannelEnd, StandsAndSaysNothingByDefault) {
  BareEnd end;
  end.giveUp("text");
  EXPECT_TRUE(end.stands());
  EXPECT_EQ(end.failure(), "");
}

// A channel that leaves the rest to its ends.
class PlainChannel : public HOQChannelPrototype {
 public:
  explicit PlainChannel(const OpenChannel& open) : open_(open) {}
  HOQChannelEndPtr getSourceEnd() override { return open_.source; }
  HOQChannelEndPtr getDestinationEnd() override { return open_.destination; }
  void release() override { open_ = OpenChannel(); }

 private:
  OpenChannel open_;
};

TEST(Channel, AsksTheEndsThatItHoldsByDefault) {
  const OpenChannel open = openMemory(kTiny);
  PlainChannel channel(open);
  EXPECT_EQ(channel.failure(), "");
  channel.giveUp("over");
  EXPECT_EQ(open.source->failure(), "over");
  EXPECT_EQ(channel.failure(), "over");
  channel.release();
  EXPECT_EQ(channel.failure(), "");
  channel.giveUp("nobody hears this");
}

}  // namespace
}  // namespace test
}  // namespace HOQ
