#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <thread>

#include "transport/tls/support/PumpHarness.h"

namespace HOQ::tls {
namespace {

using test::End;
using test::PumpHarness;
using test::readBytes;
using test::writeAll;

constexpr std::size_t kMegabyte = 1 << 20;

/// The byte at `offset` of a stream that is nowhere like itself shifted.
char byteAt(std::uint64_t offset) {
  std::uint64_t x = offset * 0x9e3779b97f4a7c15u;
  return static_cast<char>(x >> 56 ^ x >> 33);
}

/// Writes `count` bytes of the stream in pieces of random sizes, then ends the direction.
void writeStream(int fd, std::uint64_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::string piece;
  for (std::uint64_t offset = 0; offset < count;) {
    const std::size_t most = std::uniform_int_distribution<int>(0, 3)(random) == 0 ? 200 : 200'000;
    const std::size_t size = std::min<std::uint64_t>(
        std::uniform_int_distribution<std::size_t>(1, most)(random), count - offset);
    piece.resize(size);
    for (std::size_t i = 0; i < size; ++i) piece[i] = byteAt(offset + i);
    ASSERT_TRUE(writeAll(fd, piece)) << "at " << offset;
    offset += size;
  }
  ASSERT_EQ(::shutdown(fd, SHUT_WR), 0);
}

/// Reads the stream to its end in pieces of random sizes; how many bytes were as they should be.
std::uint64_t readStream(int fd, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<char> piece(200'000);
  for (std::uint64_t offset = 0;;) {
    const std::size_t size = std::uniform_int_distribution<std::size_t>(1, piece.size())(random);
    const ssize_t got = ::recv(fd, piece.data(), size, 0);
    if (got <= 0) return offset;
    for (ssize_t i = 0; i < got; ++i, ++offset)
      if (piece[static_cast<std::size_t>(i)] != byteAt(offset)) return offset;
  }
}

TEST(Pump, CarriesWhatBothSidesSayAtOnceInPiecesOfAnySize) {
  constexpr std::uint64_t kBytes = 100 * kMegabyte;
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const int near = pair->first.fd();
  const int far = pair->second.fd();
  std::uint64_t there = 0;
  std::uint64_t back = 0;
  std::thread threads[] = {
      std::thread([=] { writeStream(near, kBytes, 1); }),
      std::thread([=] { writeStream(far, kBytes, 2); }),
      std::thread([=, &there] { there = readStream(far, 3); }),
      std::thread([=, &back] { back = readStream(near, 4); }),
  };
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(there, kBytes);
  EXPECT_EQ(back, kBytes);
  const auto clientEnd = test::arrived(pair->first.closed);
  const auto serverEnd = test::arrived(pair->second.closed);
  EXPECT_EQ(clientEnd->kind, ErrorKind::kClosed);
  EXPECT_EQ(clientEnd->text, "");
  EXPECT_EQ(serverEnd->text, "");
  const auto counters = harness.server->counters();
  EXPECT_EQ(counters.bytesReceived, kBytes);
  EXPECT_EQ(counters.bytesSent, kBytes);
  EXPECT_EQ(counters.open, 0u);
}

TEST(Pump, EchoesEveryByteOfManyShortMessages) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const int far = pair->second.fd();
  std::thread echo([far] {
    char bytes[512];
    for (;;) {
      const ssize_t got = ::recv(far, bytes, sizeof bytes, 0);
      if (got <= 0 || !writeAll(far, bytes, static_cast<std::size_t>(got))) return;
    }
  });
  for (int i = 0; i < 2000; ++i) {
    const std::string text = "message " + std::to_string(i);
    ASSERT_TRUE(writeAll(pair->first.fd(), text));
    ASSERT_EQ(readBytes(pair->first.fd(), text.size()), text);
  }
  pair->first.connection.plain.reset();
  echo.join();
}

TEST(Pump, SmallBuffersCarryAsWell) {
  TlsPump::Options options;
  options.threads = 1;
  options.bufferBytes = 16 * 1024;
  PumpHarness harness(options);
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const int near = pair->first.fd();
  std::thread writer([near] { writeStream(near, 5 * kMegabyte, 5); });
  EXPECT_EQ(readStream(pair->second.fd(), 6), 5 * kMegabyte);
  writer.join();
}

TEST(Pump, WhatCameWithTheFirstByteIsHandedOver) {
  PumpHarness harness;
  auto [near, far] = test::tcpPair();
  auto accepted = test::accept(*harness.server, std::move(far), harness.serverContext);
  auto connected = test::connect(*harness.client, std::move(near), harness.clientContext,
                                 {{"server.test"}, true, {}});
  auto serverSide = test::arrived(accepted.ready);
  ASSERT_TRUE(*serverSide);
  ASSERT_TRUE(writeAll((*serverSide)->plain.get(), "settings"));
  auto clientSide = test::arrived(connected.ready);
  ASSERT_TRUE(*clientSide);
  test::makeBlocking((*clientSide)->plain.get());
  EXPECT_EQ(readBytes((*clientSide)->plain.get(), 8), "settings");
}

TEST(Pump, APlainEndTakesAboutAMessageAtOnce) {
  std::ifstream file("/proc/sys/net/core/wmem_max");
  int granted = 0;
  if (!(file >> granted)) GTEST_SKIP() << "the system does not tell what it grants";
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  int room = 0;
  socklen_t length = sizeof room;
  ASSERT_EQ(::getsockopt(pair->first.fd(), SOL_SOCKET, SO_SNDBUF, &room, &length), 0);
  EXPECT_GE(room, 2 * std::min(granted, 512 * 1024)) << "the system counts twice what is asked for";
}

TEST(Pump, OptionsThatMakeNoSenseAreRefused) {
  for (const auto& [threads, bytes] : {std::pair<int, std::size_t>{0, 65536},
                                       {65, 65536},
                                       {1, 16383},
                                       {1, std::size_t{1} << 40}}) {
    TlsPump::Options options;
    options.threads = threads;
    options.bufferBytes = bytes;
    const auto pump = TlsPump::start(options);
    ASSERT_FALSE(pump);
    EXPECT_EQ(pump.error().kind, ErrorKind::kUsage);
  }
}

}  // namespace
}  // namespace HOQ::tls
