#include "Parallel.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace HOQ::cli {
namespace {

constexpr std::size_t kThreads = 8;         // more gain little on one file system
constexpr std::size_t kJobsForAThread = 4;  // before it is worth its start

std::size_t threadsFor(std::size_t jobs) {
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  return std::min({cores, kThreads, std::max<std::size_t>(1, jobs / kJobsForAThread)});
}

}  // namespace

void inParallel(Node& node, std::size_t count, const std::function<void(std::size_t)>& job) {
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    for (std::size_t i = next.fetch_add(1); i < count; i = next.fetch_add(1)) job(i);
  };
  std::vector<std::thread> helpers(threadsFor(count) - 1);
  for (std::thread& helper : helpers)
    helper = std::thread([&] {
      const auto stay = node.enter();
      work();
    });
  work();
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace HOQ::cli
