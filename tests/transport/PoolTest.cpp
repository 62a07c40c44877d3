#include "server/Pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <vector>

namespace HOQ::transport {
namespace {

TEST(Pool, RunsEverythingBeforeItEnds) {
  std::atomic<int> ran = 0;
  {
    Pool pool(3);
    for (int i = 0; i < 100; ++i) pool.submit(nullptr, [&ran] { ++ran; });
  }
  EXPECT_EQ(ran, 100);
}

TEST(Pool, RunsAsManyAtOnceAsItHasThreads) {
  Pool pool(2);
  std::promise<void> first, second;
  pool.submit(nullptr, [&] {
    first.set_value();
    second.get_future().wait();
  });
  pool.submit(nullptr, [&] {
    first.get_future().wait();
    second.set_value();
  });
}

TEST(Pool, GivesBackATaskThatHasNotBegun) {
  Pool pool(1);
  std::promise<void> begun, go;
  std::atomic<bool> ran = false;
  int key = 0;
  pool.submit(nullptr, [&] {
    begun.set_value();
    go.get_future().wait();
  });
  begun.get_future().wait();
  pool.submit(&key, [&] { ran = true; });
  EXPECT_EQ(pool.waiting(), 1u);
  EXPECT_TRUE(pool.withdraw(&key));
  EXPECT_FALSE(pool.withdraw(&key));
  EXPECT_EQ(pool.waiting(), 0u);
  std::promise<void> last;
  pool.submit(nullptr, [&] { last.set_value(); });
  go.set_value();
  last.get_future().wait();
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace HOQ::transport
