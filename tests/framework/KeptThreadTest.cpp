#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <vector>

#include <hoq/HOQKeptThread.h>

namespace HOQ::test {
namespace {

void* noteThread(void* noted) {
  *static_cast<pthread_t*>(noted) = pthread_self();
  return nullptr;
}

/// The threads that `count` functions ran in, one after the other or all begun before one is
/// finished.
std::vector<pthread_t> run(std::size_t count, bool atOnce) {
  std::vector<pthread_t> noted(count, pthread_self());
  std::vector<HOQKeptThread*> threads(count);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(HOQKeptThread::start(noteThread, &noted[i], threads[i]), 0);
    if (!atOnce) HOQKeptThread::finish(threads[i]);
  }
  if (atOnce)
    for (HOQKeptThread* const each : threads) HOQKeptThread::finish(each);
  EXPECT_EQ(std::count(noted.begin(), noted.end(), pthread_self()), 0);
  return noted;
}

/// How many threads the process has beyond those at the beginning.
class ThreadCount {
 public:
  ThreadCount() {
    (void)run(1, false);  // beside a process's first one, a sanitizer starts one of its own
    before_ = now();
  }

  /// A thread that was joined may be listed by the system a moment longer, so while there are more
  /// than are expected, it is looked again.
  long more(long expected) const {
    constexpr int kLooks = 200'000;
    for (int look = 0; look < kLooks && now() > before_ + expected; ++look) sched_yield();
    return now() - before_;
  }

 private:
  static long now() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  }

  long before_ = 0;
};

TEST(KeptThread, OneRunsOneFunctionAfterAnother) {
  const ThreadCount threads;
  {
    const HOQKeptThread::Keeping keeping;
    const std::vector<pthread_t> noted = run(100, false);
    EXPECT_EQ(std::set<pthread_t>(noted.begin(), noted.end()).size(), 1u);
  }
  EXPECT_EQ(threads.more(0), 0);
}

TEST(KeptThread, ThoseThatRunAtOnceAreDifferentAndAFewAreKept) {
  const ThreadCount threads;
  {
    const HOQKeptThread::Keeping keeping;
    const std::vector<pthread_t> noted = run(20, true);
    EXPECT_EQ(std::set<pthread_t>(noted.begin(), noted.end()).size(), 20u);
    EXPECT_EQ(threads.more(8), 8);
  }
  EXPECT_EQ(threads.more(0), 0);
}

TEST(KeptThread, NoneIsKeptWhereNobodyAskedForIt) {
  const ThreadCount threads;
  for (const bool atOnce : {false, true}) {
    (void)run(5, atOnce);
    EXPECT_EQ(threads.more(0), 0);
  }
}

TEST(KeptThread, TheLastKeepingEndsThem) {
  const ThreadCount threads;
  std::optional<HOQKeptThread::Keeping> first;
  std::optional<HOQKeptThread::Keeping> second;
  first.emplace();
  second.emplace();
  (void)run(2, true);
  first.reset();
  EXPECT_EQ(threads.more(2), 2);
  second.reset();
  EXPECT_EQ(threads.more(0), 0);
}

TEST(KeptThread, OneThatRunsBeyondTheLastKeepingEndsWhenItHasRun) {
  const ThreadCount threads;
  pthread_t noted = pthread_self();
  HOQKeptThread* thread = nullptr;
  {
    const HOQKeptThread::Keeping keeping;
    ASSERT_EQ(HOQKeptThread::start(noteThread, &noted, thread), 0);
  }
  HOQKeptThread::finish(thread);
  EXPECT_EQ(threads.more(0), 0);
}

}  // namespace
}  // namespace HOQ::test
