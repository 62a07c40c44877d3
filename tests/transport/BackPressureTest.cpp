// A client that stops reading stops the work, not the memory.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "routine/HOQFileRoutineLin.h"
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

std::atomic<long> entriesRead = 0;
std::atomic<bool> listEnded = false;

/// A directory that has no end.
class EndlessDirectory : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;

  int opendir(void*& handle) override {
    handle = this;
    return 0;
  }
  int readdir(void*) override {
    name_ = "entry" + std::string(200, 'n') + std::to_string(++entriesRead);
    return 0;
  }
  const char* namedir(void*) override { return name_.c_str(); }
  int closedir(void*) override { return 0; }
  int stat() override {
    statBuffer = {};
    statBuffer.st_mode = path.find("entry") == std::string::npos ? S_IFDIR : S_IFREG;
    return 0;
  }

 private:
  std::string name_;
};

class EndlessFiler : public HOQFilerLocal {
 public:
  using HOQFilerLocal::HOQFilerLocal;
  boost::shared_ptr<HOQFileRoutine> createRoutine(const std::string& directory) override {
    return boost::shared_ptr<HOQFileRoutine>(new EndlessDirectory(directory));
  }
  int list(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
           const Filters* filters, unsigned int fields) override {
    const int code = HOQFilerLocal::list(paths, result, options, filters, fields);
    listEnded = true;
    return code;
  }
};

/// Takes records, and stands at the first one until it is let go.
class StoppedTaker : public StoppedHandler {
 public:
  explicit StoppedTaker(long most) : most_(most) {}
  bool takesRecords() const override { return true; }
  bool record(const boost::shared_ptr<HOQFileType>&) override {
    if (taken == 0) error(HOQRequestErrorData(0, "the first"));
    return ++taken < most_;
  }
  long taken = 0;

 private:
  const long most_;
};

/// How far the walk has come when it goes no further, however often it is looked at.
long whereTheWalkStands() {
  long before = -1;
  for (int still = 0; still < 2000; std::this_thread::yield()) {
    const long now = entriesRead;
    still = now == before ? still + 1 : 0;
    before = now;
  }
  return before;
}

TEST(BackPressure, StopsAListWhoseClientStopsReadingAndEndsItWithTheClientsInterest) {
  constexpr long kMost = 50'000;
  entriesRead = 0;
  Calls calls;
  NodeServerSettings settings = nodeSettings();
  settings.observer = &calls;
  OnNode<EndlessFiler> node(settings);
  const boost::intrusive_ptr<StoppedTaker> handler(new StoppedTaker(kMost));
  HOQRequestModificator::of(*node.filer).sync(handler, "");
  HOQFiler::FileTypes none;
  int code = 0;
  std::thread client([&] { code = node.filer->list({""}, &none, 0, nullptr, 0); });
  handler->awaitStop();  // which it comes to while the walk, that has no end, goes on
  const long stood = whereTheWalkStands();
  handler->go();
  client.join();
  EXPECT_EQ(handler->taken, kMost) << "the walk stood at " << stood;
  EXPECT_GT(entriesRead, stood);
  EXPECT_EQ(code, -1);
  EXPECT_EQ(none.size(), 0U);
  ASSERT_EQ(handler->answers.size(), 1U);
  EXPECT_EQ(handler->answers[0].code, -1);
  (void)calls.await(1);
  EXPECT_TRUE(listEnded) << "the node lists on for nobody";
}

TEST(BackPressure, EndsAListWhoseClientTakesNothingForTheIdleLimit) {
  entriesRead = 0;
  Calls calls;
  NodeServerSettings settings = nodeSettings();
  settings.idle = std::chrono::milliseconds(30);
  settings.observer = &calls;
  OnNode<EndlessFiler> node(settings);
  const boost::intrusive_ptr<StoppedTaker> handler(new StoppedTaker(1'000'000'000));
  HOQRequestModificator::of(*node.filer).sync(handler, "");
  HOQFiler::FileTypes none;
  int code = 0;
  std::thread client([&] { code = node.filer->list({""}, &none, 0, nullptr, 0); });
  handler->awaitStop();
  EXPECT_EQ(calls.await(1)[0].trouble, "The client took nothing for too long");
  handler->go();
  client.join();
  EXPECT_EQ(code, -1);
  EXPECT_EQ(node.filer->failure(), NodeFailure::kLost);
}

}  // namespace
}  // namespace HOQ::test
