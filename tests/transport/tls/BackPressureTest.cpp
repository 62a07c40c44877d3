#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "transport/tls/support/PumpHarness.h"

namespace HOQ::tls {
namespace {

using test::PumpHarness;

constexpr int kStalledMs = 300;
constexpr std::uint64_t kMostOnTheWay = 24 << 20;  // the system's socket buffers, mostly

/// Writes until nothing more is taken for a while; how many bytes were.
std::uint64_t fill(int fd) {
  const std::string piece(64 * 1024, 'p');
  std::uint64_t taken = 0;
  pollfd wait{fd, POLLOUT, 0};
  while (taken <= kMostOnTheWay && ::poll(&wait, 1, kStalledMs) == 1) {
    const ssize_t sent = ::send(fd, piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent > 0) taken += static_cast<std::uint64_t>(sent);
  }
  return taken;
}

std::uint64_t readToEndCounting(int fd) {
  std::vector<char> piece(256 * 1024);
  std::uint64_t count = 0;
  for (ssize_t got; (got = ::recv(fd, piece.data(), piece.size(), 0)) > 0;)
    count += static_cast<std::uint64_t>(got);
  return count;
}

TEST(BackPressure, AReaderThatStopsStopsTheWriterAndGetsEverythingLater) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  for (const auto& [writer, reader] : {std::pair{pair->first.fd(), pair->second.fd()},
                                       std::pair{pair->second.fd(), pair->first.fd()}}) {
    const std::uint64_t taken = fill(writer);
    EXPECT_GT(taken, 0u);
    EXPECT_LE(taken, kMostOnTheWay) << "somebody keeps more than a bounded buffer";
    ASSERT_EQ(::shutdown(writer, SHUT_WR), 0);
    EXPECT_EQ(readToEndCounting(reader), taken);
  }
}

TEST(BackPressure, OneDirectionThatStandsStillDoesNotStopTheOther) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const std::uint64_t taken = fill(pair->first.fd());
  for (int i = 0; i < 100; ++i) {
    const std::string text = "still there " + std::to_string(i);
    ASSERT_TRUE(test::writeAll(pair->second.fd(), text));
    ASSERT_EQ(test::readBytes(pair->first.fd(), text.size()), text);
  }
  ASSERT_EQ(::shutdown(pair->first.fd(), SHUT_WR), 0);
  EXPECT_EQ(readToEndCounting(pair->second.fd()), taken);
}

TEST(BackPressure, AConnectionThatStandsStillDoesNotStopOthersOnItsThread) {
  TlsPump::Options options;
  options.threads = 1;
  PumpHarness harness(options);
  auto stuck = harness.connection();
  auto other = harness.connection();
  ASSERT_TRUE(stuck && other);
  fill(stuck->first.fd());
  fill(stuck->second.fd());
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(test::writeAll(other->first.fd(), "ping"));
    ASSERT_EQ(test::readBytes(other->second.fd(), 4), "ping");
  }
}

}  // namespace
}  // namespace HOQ::tls
