// What every channel promises, whatever carries its bytes.
#include "support/ChannelContract.h"

#include <chrono>
#include <thread>
#include <vector>

namespace HOQ::test {
namespace {

constexpr std::size_t kPiece = 4096;
constexpr HOQChannelLimits kShort{std::size_t{64} << 10, std::chrono::milliseconds(20)};

std::uint64_t writeAll(HOQChannelEndPrototype& end, const std::string& bytes, std::size_t piece) {
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    const std::size_t count = std::min(piece, bytes.size() - at);
    std::uint64_t written = 0;
    if (end.write(bytes.data() + at, count, &written) != 0) return at;
    EXPECT_EQ(written, count) << "a buffer is taken whole";
  }
  return bytes.size();
}

// Writes until it fails. How many bytes were taken before.
std::uint64_t writeUntilFailure(HOQChannelEndPrototype& end, std::uint64_t atMost) {
  const std::string piece = pattern(kPiece);
  std::uint64_t taken = 0;
  std::uint64_t written = 0;
  while (taken <= atMost && end.write(piece.data(), piece.size(), &written) == 0)
    taken += piece.size();
  return taken;
}

}  // namespace

std::string pattern(std::size_t count, std::size_t from) {
  std::string bytes(count, '\0');
  for (std::size_t at = 0; at < count; ++at)
    bytes[at] = static_cast<char>(((from + at) * 2654435761U) >> 13);
  return bytes;
}

int readAll(HOQChannelEndPrototype& end, std::string& into, std::size_t piece) {
  std::vector<char> buffer(piece);
  for (;;) {
    std::uint64_t got = 0;
    const int code = end.read(buffer.data(), buffer.size(), &got);
    if (code != 0 || got == 0) return code;
    EXPECT_LE(got, piece);
    into.append(buffer.data(), got);
  }
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ChannelContract);

TEST_P(ChannelContract, PassesTheBytesInOrderWhateverThePieces) {
  struct Case {
    std::size_t total, written, read;
  };
  constexpr Case kCases[] = {{1, 1, 1},
                             {1000, 1, 4096},
                             {1000, 4096, 1},
                             {100'003, 4096, 4096},
                             {300'000, 7777, 1 << 20},
                             {5'000'000, 65'536, 4096},
                             {5'000'000, 5'000'000, 300'001}};
  for (const Case& each : kCases) {
    SCOPED_TRACE(std::to_string(each.written) + " at a time, read by " + std::to_string(each.read));
    OpenChannel channel = open();
    const std::string sent = pattern(each.total);
    std::thread writer([&] {
      EXPECT_EQ(writeAll(*channel.source, sent, each.written), sent.size());
      channel.source->close();
    });
    std::string got;
    EXPECT_EQ(readAll(*channel.destination, got, each.read), 0);
    writer.join();
    EXPECT_TRUE(got == sent) << got.size() << " bytes of " << sent.size();
    EXPECT_EQ(channel.source->failure(), "");
    EXPECT_EQ(channel.destination->failure(), "");
  }
}

TEST_P(ChannelContract, HandsAHeaderOutInOneRead) {
  OpenChannel channel = open();
  const std::string header = pattern(8);
  const std::string body = pattern(100, 8);
  ASSERT_EQ(writeAll(*channel.source, header, 8), 8u);
  ASSERT_EQ(writeAll(*channel.source, body, 100), 100u);
  channel.source->close();
  char buffer[8];
  std::uint64_t got = 0;
  ASSERT_EQ(channel.destination->read(buffer, sizeof buffer, &got), 0);
  EXPECT_EQ(std::string(buffer, got), header);
  std::string rest;
  EXPECT_EQ(readAll(*channel.destination, rest), 0);
  EXPECT_EQ(rest, body);
}

TEST_P(ChannelContract, StaysAtItsEnd) {
  OpenChannel channel = open();
  channel.source->close();
  for (int turn = 0; turn < 3; ++turn) {
    std::string got;
    EXPECT_EQ(readAll(*channel.destination, got), 0);
    EXPECT_EQ(got, "");
  }
  EXPECT_EQ(channel.destination->failure(), "");
}

TEST_P(ChannelContract, TakesNothingMoreOnceItsEndIsClosed) {
  OpenChannel channel = open();
  channel.source->close();
  std::uint64_t written = 0;
  EXPECT_NE(channel.source->write("x", 1, &written), 0);
  std::string got;
  EXPECT_EQ(readAll(*channel.destination, got), 0);
  EXPECT_EQ(got, "");
}

TEST_P(ChannelContract, TakesAnEmptyBufferAndPassesNothing) {
  OpenChannel channel = open();
  std::uint64_t written = 1;
  EXPECT_EQ(channel.source->write("", 0, &written), 0);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(writeAll(*channel.source, "after", 5), 5u);
  channel.source->close();
  std::string got;
  EXPECT_EQ(readAll(*channel.destination, got), 0);
  EXPECT_EQ(got, "after");
}

TEST_P(ChannelContract, NeverPassesADroppedEndOffAsTheEndOfTheData) {
  for (const std::size_t before : {std::size_t{0}, std::size_t{10}, std::size_t{50'000}}) {
    SCOPED_TRACE(before);
    OpenChannel channel = open();
    const std::string sent = pattern(before);
    ASSERT_EQ(writeAll(*channel.source, sent, kPiece), before);
    channel.source.reset();
    std::string got;
    EXPECT_NE(readAll(*channel.destination, got), 0);
    EXPECT_EQ(got, sent.substr(0, got.size()));
    EXPECT_NE(channel.destination->failure(), "");
    EXPECT_FALSE(channel.destination->stands());
  }
}

TEST_P(ChannelContract, WakesAReaderWhoseOtherEndIsDropped) {
  OpenChannel channel = open();
  std::thread reader([end = channel.destination] {
    std::string got;
    EXPECT_NE(readAll(*end, got), 0);
    EXPECT_EQ(got, "");
  });
  channel.source.reset();
  reader.join();
}

TEST_P(ChannelContract, FailsAWriterWhoseReaderIsGone) {
  OpenChannel channel = open();
  channel.destination.reset();
  writeUntilFailure(*channel.source, ~std::uint64_t{0} / 2);
  EXPECT_NE(channel.source->failure(), "");
  EXPECT_FALSE(channel.source->stands());
}

TEST_P(ChannelContract, WakesAWriterWhoseReaderGoes) {
  OpenChannel channel = open();
  std::thread writer([end = channel.source] { writeUntilFailure(*end, ~std::uint64_t{0} / 2); });
  channel.destination.reset();
  writer.join();
}

TEST_P(ChannelContract, TellsBothEndsWhyTheSenderGaveUp) {
  OpenChannel channel = open();
  channel.source->giveUp("100%s of it\xff cannot be read");
  std::string got;
  EXPECT_NE(readAll(*channel.destination, got), 0);
  EXPECT_EQ(channel.destination->failure(), "100%s of it\xff cannot be read");
  EXPECT_EQ(channel.source->failure(), "100%s of it\xff cannot be read");
  std::uint64_t written = 0;
  EXPECT_NE(channel.source->write("x", 1, &written), 0);
  EXPECT_FALSE(channel.source->stands());
  EXPECT_FALSE(channel.destination->stands());
}

TEST_P(ChannelContract, TellsBothEndsWhyTheReceiverGaveUp) {
  OpenChannel channel = open();
  channel.destination->giveUp("disk full");
  writeUntilFailure(*channel.source, ~std::uint64_t{0} / 2);
  EXPECT_EQ(channel.source->failure(), "disk full");
  EXPECT_EQ(channel.destination->failure(), "disk full");
  std::string got;
  EXPECT_NE(readAll(*channel.destination, got), 0);
}

TEST_P(ChannelContract, WakesWhoeverWaitsWhenAnEndIsGivenUpByAnotherThread) {
  OpenChannel channel = open();
  std::thread reader([end = channel.destination] {
    std::string got;
    EXPECT_NE(readAll(*end, got), 0);
  });
  channel.destination->giveUp("stopped from outside");
  reader.join();

  channel = open();
  std::thread writer([end = channel.source] { writeUntilFailure(*end, ~std::uint64_t{0} / 2); });
  channel.source->giveUp("stopped from outside");
  writer.join();
  EXPECT_EQ(channel.source->failure(), "stopped from outside");
}

TEST_P(ChannelContract, KeepsTheFirstText) {
  OpenChannel channel = open();
  channel.source->giveUp("first");
  channel.source->giveUp("second");
  std::string got;
  EXPECT_NE(readAll(*channel.destination, got), 0);
  channel.destination->giveUp("third");
  EXPECT_EQ(channel.source->failure(), "first");
  EXPECT_EQ(channel.destination->failure(), "first");
}

TEST_P(ChannelContract, StandsWhileBothEndsDo) {
  OpenChannel channel = open();
  EXPECT_TRUE(channel.source->stands());
  EXPECT_TRUE(channel.destination->stands());
  EXPECT_EQ(channel.source->failure(), "");
  EXPECT_EQ(channel.destination->failure(), "");
}

TEST_P(ChannelContract, FailsAReaderToWhomNothingComesForTheIdleLimit) {
  OpenChannel channel = open(kShort);
  std::string got;
  EXPECT_NE(readAll(*channel.destination, got), 0);
  EXPECT_EQ(got, "");
  EXPECT_NE(channel.destination->failure(), "");
  writeUntilFailure(*channel.source, ~std::uint64_t{0} / 2);
  EXPECT_FALSE(channel.source->stands());
}

TEST_P(ChannelContract, FailsAWriterForWhomNobodyReadsAndHoldsABoundedAmount) {
  OpenChannel channel = open(kShort);
  EXPECT_LE(writeUntilFailure(*channel.source, GetParam().boundBytes), GetParam().boundBytes);
  EXPECT_NE(channel.source->failure(), "");
}

}  // namespace HOQ::test
