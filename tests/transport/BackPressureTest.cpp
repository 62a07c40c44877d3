// A client that stops reading stops the work, not the memory.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;

constexpr int kFlood = 100'000;
std::atomic<int> told = 0;

/// Reports so many errors that they do not fit into any buffer.
class FloodingFiler : public HOQFilerLocal {
 public:
  using HOQFilerLocal::HOQFilerLocal;
  int remove(const Paths&, const HOQFilerOptions&) override {
    for (told = 0; told < kFlood; ++told)
      getContext()->getHandler()->error(HOQRequestErrorData(told, std::string(200, 'e')));
    return 7;
  }
};

/// Takes nothing until it is let go.
class StoppedHandler : public CollectingHandler {
 public:
  void error(const HOQRequestErrorData& error) override {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return free_; });
    CollectingHandler::error(error);
  }
  void awaitStop() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return stopped_; });
  }
  void go() {
    const std::lock_guard<std::mutex> lock(mutex_);
    free_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  bool free_ = false;
};

TEST(BackPressure, StopsAnOperationWhoseClientStopsReading) {
  OnNode<FloodingFiler> node;
  const boost::intrusive_ptr<StoppedHandler> handler(new StoppedHandler);
  HOQRequestModificator::of(*node.filer).sync(handler, "");
  int code = 0;
  std::thread client([&] { code = node.filer->remove({"x"}, 0); });
  handler->awaitStop();
  // It stands when it says no more, however often it is looked at.
  for (int before = -1, still = 0; still < 1000; std::this_thread::yield()) {
    const int now = told;
    still = now == before ? still + 1 : 0;
    before = now;
  }
  EXPECT_LT(told, kFlood / 2) << "all of it went into memory";
  handler->go();
  client.join();
  EXPECT_EQ(code, 7);
  ASSERT_EQ(handler->errors.size(), static_cast<std::size_t>(kFlood));
  for (int i = 0; i < kFlood; ++i) ASSERT_EQ(handler->errors[static_cast<std::size_t>(i)].code, i);
}

TEST(BackPressure, EndsTheCallOfAClientThatTakesNothingForTheIdleLimit) {
  Calls calls;
  NodeServerSettings settings = nodeSettings();
  settings.idle = std::chrono::milliseconds(30);
  settings.observer = &calls;
  OnNode<FloodingFiler> node(settings);
  const boost::intrusive_ptr<StoppedHandler> handler(new StoppedHandler);
  HOQRequestModificator::of(*node.filer).sync(handler, "");
  int code = 0;
  std::thread client([&] { code = node.filer->remove({"x"}, 0); });
  handler->awaitStop();
  EXPECT_EQ(calls.await(1)[0].trouble, "The client took nothing for too long");
  EXPECT_EQ(told, kFlood) << "the operation ran to its end";
  handler->go();
  client.join();
  EXPECT_EQ(code, -1);
  EXPECT_EQ(node.filer->failure(), NodeFailure::kLost);
  HOQRequestModificator::of(*node.filer).sync(nullptr, "");
  EXPECT_EQ(node.filer->mkdir({}, nullptr, 0), 0) << "the connection goes on";
}

}  // namespace
}  // namespace HOQ::test
