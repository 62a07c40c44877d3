#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "transport/tls/support/PumpHarness.h"

namespace HOQ::tls {
namespace {

using test::arrived;
using test::PumpHarness;

std::size_t entriesOf(const char* directory) {
  const std::filesystem::directory_iterator all(directory);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::size_t openDescriptors() { return entriesOf("/proc/self/fd"); }
std::size_t threads() { return entriesOf("/proc/self/task"); }

/// Allows so many descriptors; false: the system does not.
bool allowDescriptors(rlim_t count) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  if (limit.rlim_cur >= count) return true;
  limit.rlim_cur = count;
  return limit.rlim_max >= count && ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

TEST(PumpLoad, FiveHundredConnectionsStandAtOnceAndEachIsServed) {
  constexpr std::size_t kConnections = 500;
  if (!allowDescriptors(6 * kConnections + 100))
    GTEST_SKIP() << "the system does not allow 3100 open descriptors";
  PumpHarness harness;
  std::vector<std::pair<test::End, test::End>> all;
  for (std::size_t i = 0; i < kConnections; ++i) {
    auto pair = harness.connection();
    ASSERT_TRUE(pair);
    all.push_back(std::move(*pair));
  }
  EXPECT_EQ(harness.server->counters().open, kConnections);
  for (std::size_t i = 0; i < kConnections; ++i)
    ASSERT_TRUE(test::writeAll(all[i].first.fd(), "to server " + std::to_string(i) + "\n"));
  for (std::size_t i = 0; i < kConnections; ++i) {
    ASSERT_EQ(::shutdown(all[i].first.fd(), SHUT_WR), 0);
    EXPECT_EQ(test::readToEnd(all[i].second.fd()), "to server " + std::to_string(i) + "\n");
  }
  for (auto& pair : all) pair.second.connection.plain.reset();
  for (auto& pair : all) {
    EXPECT_EQ(arrived(pair.first.closed)->text, "");
    EXPECT_EQ(arrived(pair.second.closed)->text, "");
  }
  EXPECT_EQ(harness.server->counters().open, 0u);
  EXPECT_EQ(harness.client->counters().open, 0u);
}

TEST(PumpLoad, NothingIsLeftOfConnectionsThatEndedInWhateverWay) {
  PumpHarness harness;
  ASSERT_TRUE(harness.connection());
  const auto settle = [&harness] {  // the first connection's ends, too
    while (harness.server->counters().open + harness.client->counters().open > 0)
      std::this_thread::yield();
  };
  settle();
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 20; ++i) {
    auto pair = harness.connection();
    ASSERT_TRUE(pair);
    if (i % 3 == 0) harness.server->close(pair->second.connection.id, "closed");
    if (i % 3 == 1) (void)::shutdown(pair->first.fd(), SHUT_RDWR);
    pair->first.connection.plain.reset();
    pair->second.connection.plain.reset();
    arrived(pair->first.closed);
    arrived(pair->second.closed);
    auto [near, far] = test::tcpPair();
    auto refused = test::accept(*harness.server, std::move(far), harness.serverContext);
    near.reset();
    EXPECT_FALSE(*arrived(refused.ready));
  }
  // A callback comes just before its connection's descriptors are closed.
  harness.server.reset();
  harness.client.reset();
  EXPECT_LT(openDescriptors(), before);
}

TEST(PumpLoad, ThreadsAndDescriptorsGoWithThePump) {
  std::thread([] {}).join();  // beside a process's first one, a sanitizer starts one of its own
  const std::size_t descriptors = openDescriptors();
  const std::size_t running = threads();
  for (int i = 0; i < 5; ++i) {
    PumpHarness harness;
    EXPECT_EQ(threads(), running + 4) << "two for each pump";
    auto pair = harness.connection();
    ASSERT_TRUE(pair);
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(threads(), running);
}

}  // namespace
}  // namespace HOQ::tls
