// When a client hears how far a request is: soon, but not in a message for each word.
#include <grpcpp/create_channel_posix.h>
#include <grpcpp/grpcpp.h>
#include <gtest/gtest.h>
#include <hoq/v1/filer.grpc.pb.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;
namespace wire = hoq::v1;
using Clock = std::chrono::steady_clock;

constexpr int kTold = 5000;
constexpr std::chrono::milliseconds kPace{20};  // at least, between two messages of progress alone

/// Tells of kTold items; with a path, it then waits until all of it was heard.
class TalkingFiler : public HOQFilerLocal {
 public:
  using HOQFilerLocal::HOQFilerLocal;
  int remove(const Paths& paths, const HOQFilerOptions&) override {
    for (int i = 0; i < kTold; ++i)
      getContext()->getHandler()->progress(HOQRequestProgressData(std::to_string(i)));
    if (paths.empty()) return 0;
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::minutes(1), [] { return heard == kTold; }) ? 0 : -1;
  }

  inline static std::mutex mutex;
  inline static std::condition_variable changed;
  inline static int heard = 0;
};

class HearingHandler final : public CollectingHandler {
 public:
  void progress(const HOQRequestProgressData&) override {
    const std::lock_guard<std::mutex> lock(TalkingFiler::mutex);
    ++TalkingFiler::heard;
    TalkingFiler::changed.notify_all();
  }
};

TEST(Progress, IsHeardWhileTheRequestGoesOnWithoutAWord) {
  OnNode<TalkingFiler> node;
  TalkingFiler::heard = 0;
  HOQRequestModificator::of(*node.filer).sync(new HearingHandler, "");
  EXPECT_EQ(node.filer->remove({"x"}, 0), 0) << TalkingFiler::heard << " were heard";
}

TEST(Progress, OfManyItemsComesInFewMessagesAndInOrder) {
  OnNode<TalkingFiler> node;
  const SocketPair pair;
  node.nodes.node("node").serve(pair.there);
  const auto filer = wire::Filer::NewStub(grpc::CreateInsecureChannelFromFd("raw", pair.here));
  grpc::ClientContext context;
  const Clock::time_point began = Clock::now();
  const auto reader = filer->Remove(&context, wire::PathsRequest());
  int messages = 0;
  int told = 0;
  for (wire::FilerReply reply; reader->Read(&reply); ++messages)
    for (const wire::FilerEvent& event : reply.events()) {
      if (!event.has_progress()) continue;
      EXPECT_EQ(event.progress().status(), std::to_string(told));
      ++told;
    }
  EXPECT_TRUE(reader->Finish().ok());
  EXPECT_EQ(told, kTold);
  // One at once, one with the result, and those that are full.
  constexpr int kBesides = 2 + kTold / 500;
  EXPECT_LE(messages, (Clock::now() - began) / kPace + kBesides);
}

}  // namespace
}  // namespace HOQ::test
