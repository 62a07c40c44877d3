// Strangers at either side of a connection.
#include <grpcpp/create_channel_posix.h>
#include <grpcpp/grpcpp.h>
#include <gtest/gtest.h>
#include <hoq/v1/filer.grpc.pb.h>
#include <hoq/v1/haul.grpc.pb.h>

#include <thread>

#include "support/ResourceCount.h"
#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;
namespace wire = hoq::v1;

/// Writes `bytes` and reads until the other side hangs up, or only hangs up.
void sendAndHangUp(int descriptor, const std::string& bytes) {
  (void)::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  (void)::shutdown(descriptor, SHUT_WR);
  char answer[4096];
  while (::read(descriptor, answer, sizeof answer) > 0) {
  }
  (void)::close(descriptor);
}

const std::string kPreface = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n";

const std::string kGarbage[] = {
    "",
    "GET / HTTP/1.1\r\nHost: x\r\n\r\n",
    std::string(100'000, '\0'),
    std::string(100'000, '\xff'),
    kPreface.substr(0, 10),
    kPreface,
    kPreface + std::string("\xff\xff\xff\x04\x00\x00\x00\x00\x00", 9),
    kPreface + std::string(50'000, 'A'),
};

TEST(StrangeBytes, DoNotHarmTheServer) {
  OnNode<> node;
  for (const std::string& bytes : kGarbage) {
    const SocketPair pair;
    node.nodes.node("node").serve(pair.there);
    sendAndHangUp(pair.here, bytes);
    EXPECT_EQ(node.filer->remove({}, 0), 0);
  }
}

TEST(StrangeBytes, AreAFailureToTheClientAndNothingElse) {
  for (const std::string& bytes : kGarbage) {
    OnNode<> node;
    std::thread stranger;
    node.nodes.instead = [&](const std::string&) {
      const SocketPair pair;
      stranger = std::thread([there = pair.there, &bytes] {
        (void)::send(there, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        (void)::shutdown(there, SHUT_WR);
        char answer[4096];
        while (::read(there, answer, sizeof answer) > 0) {
        }
        (void)::close(there);
      });
      return Dialled{pair.here, NodeFailure::kNone, ""};
    };
    EXPECT_EQ(node.filer->remove({"x"}, 0), -1);
    EXPECT_NE(node.filer->failure(), NodeFailure::kNone);
    EXPECT_EQ(node.handler->errors.size(), 1u);
    node.client.reset();
    stranger.join();
  }
}

/// A client of gRPC's own, for what ours does not do.
class RawClient {
 public:
  explicit RawClient(NodeServer& server, int largest = 64 * 1024 * 1024) {
    const SocketPair pair;
    server.serve(pair.there);
    grpc::ChannelArguments arguments;
    arguments.SetMaxSendMessageSize(largest);
    arguments.SetMaxReceiveMessageSize(largest);
    channel = grpc::CreateCustomInsecureChannelFromFd("raw", pair.here, arguments);
    filer = wire::Filer::NewStub(channel);
    haul = wire::Haul::NewStub(channel);
  }
  std::shared_ptr<grpc::Channel> channel;
  std::unique_ptr<wire::Filer::Stub> filer;
  std::unique_ptr<wire::Haul::Stub> haul;
};

TEST(StrangeMessages, ThatAreTooLargeAreRefused) {
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  wire::PathsRequest request;
  request.add_paths(std::string(5'000'000, 'x'));
  const auto reader = raw.filer->Remove(&context, request);
  wire::FilerReply reply;
  EXPECT_FALSE(reader->Read(&reply));
  EXPECT_EQ(reader->Finish().error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(node.filer->remove({}, 0), 0);
}

TEST(StrangeMessages, WithoutAnOwnerAreRefused) {
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  const auto reader = raw.filer->Chown(&context, wire::ChownRequest());
  wire::FilerReply reply;
  EXPECT_FALSE(reader->Read(&reply));
  EXPECT_EQ(reader->Finish().error_code(), grpc::StatusCode::INVALID_ARGUMENT);
}

TEST(StrangeMessages, ThatBeginAnUploadWithoutItsStartAreRefused) {
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  const auto both = raw.filer->Upload(&context);
  wire::UploadRequest request;
  request.set_data("x");
  both->Write(request);
  wire::FilerReply reply;
  EXPECT_FALSE(both->Read(&reply));
  EXPECT_EQ(both->Finish().error_code(), grpc::StatusCode::INVALID_ARGUMENT);
}

TEST(StrangeMessages, OfAnUploadThatBreaksOffFailIt) {
  const TempDir root;
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  const auto both = raw.filer->Upload(&context);
  wire::UploadRequest request;
  wire::TransferItem& item = *request.mutable_start()->add_items();
  item.set_path(root / "u");
  item.set_size(1ULL << 62);
  both->Write(request);
  request.set_data("some");
  both->Write(request);
  both->WritesDone();
  wire::FilerReply reply;
  std::vector<wire::FilerEvent> events;
  while (both->Read(&reply))
    events.insert(events.end(), reply.events().begin(), reply.events().end());
  EXPECT_TRUE(both->Finish().ok());
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.back().result().code(), -1);
}

constexpr std::size_t kLargestFrame = std::size_t{256} << 10;  // of a transfer's data

TEST(StrangeMessages, OfTheLargestFrameAreTaken) {
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  const auto both = raw.haul->Transfer(&context);
  wire::HaulRequest request;
  request.mutable_create()->set_functional("nobody");
  request.set_data(std::string(kLargestFrame, 'x'));
  request.mutable_finish();
  ASSERT_TRUE(both->Write(request));
  wire::HaulReply reply;
  while (both->Read(&reply) && !reply.has_finish()) {
  }
  EXPECT_TRUE(reply.has_finish());
  both->WritesDone();
  EXPECT_TRUE(both->Finish().ok());
}

TEST(StrangeMessages, InAStreamOfTransfersEndIt) {
  OnNode<> node;
  wire::HaulRequest twice;
  twice.mutable_create()->set_functional("hoqfile_deserializer");
  wire::HaulRequest stage;
  stage.mutable_stage()->set_name("copy");
  wire::HaulRequest finish;
  finish.mutable_finish();
  wire::HaulRequest large;
  large.set_data(std::string(kLargestFrame + 1, 'x'));
  wire::HaulRequest whole;
  whole.add_whole()->mutable_create()->set_functional("hoqfile_deserializer");
  wire::HaulRequest largeWhole;
  largeWhole.add_whole()->set_data(std::string(300'000, 'x'));
  wire::HaulRequest many;
  for (int i = 0; i < 65; ++i) many.add_whole();
  const std::vector<wire::HaulRequest> kCases[] = {{twice, twice}, {stage},      {finish}, {large},
                                                   {twice, whole}, {largeWhole}, {many}};
  for (const auto& requests : kCases) {
    RawClient raw(node.nodes.node("node"));
    grpc::ClientContext context;
    const auto both = raw.haul->Transfer(&context);
    for (const wire::HaulRequest& request : requests) both->Write(request);
    wire::HaulReply reply;
    EXPECT_FALSE(both->Read(&reply));
    EXPECT_FALSE(both->Finish().ok());
  }
  EXPECT_EQ(node.filer->remove({}, 0), 0);
}

TEST(StrangeMessages, BehindAWholeTransferThatFailsAreThrownAway) {
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  const auto both = raw.haul->Transfer(&context);
  wire::HaulRequest request;
  for (int i = 0; i < 3; ++i) request.add_whole()->mutable_create()->set_functional("nobody");
  ASSERT_TRUE(both->Write(request));
  wire::HaulReply reply;
  ASSERT_TRUE(both->Read(&reply));
  EXPECT_EQ(reply.whole_done(), 0u);
  EXPECT_EQ(reply.whole_failed().stage(), "start_copying");
  EXPECT_EQ(reply.whole_failed().result().text(), "No functional \"nobody\" is known");
  ASSERT_TRUE(both->Write(request));
  both->WritesDone();
  EXPECT_FALSE(both->Read(&reply)) << "nothing more is said of transfers";
  EXPECT_TRUE(both->Finish().ok());
}

TEST(StrangeMessages, NestedTooDeepAreAnsweredAndTheStreamGoesOn) {
  OnNode<> node;
  RawClient raw(node.nodes.node("node"));
  grpc::ClientContext context;
  const auto both = raw.haul->Transfer(&context);
  wire::HaulRequest request;
  request.mutable_create()->set_functional("hoqfile_deserializer");
  wire::ElementMessage* level = request.mutable_create()->mutable_params();
  for (int i = 0; i < 40; ++i) {
    level->add_elements()->set_id(1);
    level = level->mutable_elements(0)->mutable_child();
  }
  request.mutable_finish();
  request.mutable_stage()->set_name("start_copying");
  for (int turn = 0; turn < 2; ++turn) {
    ASSERT_TRUE(both->Write(request));
    bool finished = false;
    wire::HaulReply reply;
    while (!finished) {
      ASSERT_TRUE(both->Read(&reply));
      if (reply.has_stage()) {
        EXPECT_EQ(reply.stage().code(), -1);
      }
      finished = reply.has_finish();
    }
  }
  both->WritesDone();
  EXPECT_TRUE(both->Finish().ok());
}

TEST(StrangeMessages, RapidlyOpenedAndResetStreamsDoNotHarmTheServer) {
  OnNode<> node;
  const ResourceCount before;
  {
    RawClient raw(node.nodes.node("node"));
    for (int i = 0; i < 2000; ++i) {
      grpc::ClientContext context;
      wire::ListRequest request;
      request.add_paths("/");
      const auto reader = raw.filer->List(&context, request);
      context.TryCancel();
      wire::FilerReply reply;
      while (reader->Read(&reply)) {
      }
      (void)reader->Finish();
    }
    for (int i = 0; i < 500; ++i) {
      grpc::ClientContext context;
      const auto both = raw.haul->Transfer(&context);
      wire::HaulRequest request;
      request.mutable_create()->set_functional("hoqfile_deserializer");
      (void)both->Write(request);
      context.TryCancel();
      (void)both->Finish();
    }
  }
  EXPECT_EQ(node.filer->remove({}, 0), 0);
  while (node.nodes.node("node").counters().active != 0 ||
         node.nodes.node("node").counters().streams != 0)
    std::this_thread::yield();
}

}  // namespace
}  // namespace HOQ::test
