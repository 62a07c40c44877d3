#include "front/EventLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <thread>

namespace HOQ::agent {
namespace {

using std::chrono::milliseconds;

struct Pipe {
  Pipe() {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    reading.reset(ends[0]);
    writing.reset(ends[1]);
  }
  void fill() { ASSERT_EQ(::write(writing.get(), "x", 1), 1); }
  tls::UniqueFd reading;
  tls::UniqueFd writing;
};

TEST(EventLoopTest, AHandlerIsCalledWhileItsDescriptorIsReady) {
  EventLoop loop;
  Pipe pipe;
  int calls = 0;
  loop.watch(pipe.reading.get(), EPOLLIN, [&](std::uint32_t events) {
    EXPECT_TRUE(events & EPOLLIN);
    if (++calls == 3) loop.stop();
  });
  pipe.fill();
  loop.run();
  EXPECT_EQ(calls, 3);
}

TEST(EventLoopTest, AHandlerThatWasForgottenIsNotCalledForWhatWasReady) {
  EventLoop loop;
  Pipe one;
  Pipe other;
  int calls = 0;
  const auto forgetBoth = [&](std::uint32_t) {
    ++calls;
    loop.forget(one.reading.get());
    loop.forget(other.reading.get());
    loop.post([&] { loop.stop(); });
  };
  loop.watch(one.reading.get(), EPOLLIN, forgetBoth);
  loop.watch(other.reading.get(), EPOLLIN, forgetBoth);
  one.fill();
  other.fill();
  loop.run();
  EXPECT_EQ(calls, 1);
}

TEST(EventLoopTest, ANumberThatIsUsedAgainIsAnotherDescriptor) {
  EventLoop loop;
  Pipe first;
  auto second = std::make_unique<Pipe>();
  Pipe fresh;
  int staleCalls = 0;
  // Both are ready in one turn; whichever is first closes the other and puts an empty pipe in the
  // place of its number.
  const auto replace = [&](int victim) {
    loop.forget(first.reading.get());
    loop.forget(second->reading.get());
    ASSERT_EQ(::dup2(fresh.reading.get(), victim), victim);
    loop.watch(victim, EPOLLIN, [&](std::uint32_t) { ++staleCalls; });
    loop.post([&] { loop.stop(); });
  };
  loop.watch(first.reading.get(), EPOLLIN, [&](std::uint32_t) { replace(second->reading.get()); });
  loop.watch(second->reading.get(), EPOLLIN, [&](std::uint32_t) { replace(first.reading.get()); });
  first.fill();
  second->fill();
  loop.run();
  EXPECT_EQ(staleCalls, 0);
}

TEST(EventLoopTest, TimersComeInTheOrderOfTheirTimesUnlessCancelled) {
  EventLoop loop;
  std::vector<int> order;
  loop.after(milliseconds(20), [&] {
    order.push_back(3);
    loop.stop();
  });
  loop.after(milliseconds(1), [&] { order.push_back(1); });
  const EventLoop::Timer cancelled = loop.after(milliseconds(2), [&] { order.push_back(9); });
  loop.after(milliseconds(3), [&] { order.push_back(2); });
  loop.cancel(cancelled);
  loop.cancel(cancelled);
  loop.run();
  EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));
}

TEST(EventLoopTest, OtherThreadsHandTheirTasksOver) {
  EventLoop loop;
  int sum = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 1000; ++k) {
        loop.post([&] {
          if (++sum == 4000) loop.stop();
        });
      }
    });
  }
  loop.run();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sum, 4000);
}

}  // namespace
}  // namespace HOQ::agent
