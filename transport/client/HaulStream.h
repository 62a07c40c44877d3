#pragma once

#include <grpcpp/alarm.h>
#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/support/async_stream.h>
#include <hoq/v1/haul.pb.h>

#include <memory>
#include <optional>
#include <string>

#include <hoq/HOQMessage.h>

#include "haul/TransferStream.h"

namespace grpc {
class Channel;
}

namespace HOQ::transport {

/// What creates a transfer, for the thread's client. False: the parameters cannot be sent.
[[nodiscard]] bool describe(const std::string& functional, const HOQMessage& params,
                            hoq::v1::HaulRequest::Create& create);

/// The client's side of a stream of transfers. Whoever waits works the wire for all: one thread at
/// a time, the others wait for it.
class HaulStream final : public TransferStream<hoq::v1::HaulRequest, hoq::v1::HaulReply> {
 public:
  struct Answer {
    bool came = false;
    int code = -1;
    std::string text;
  };

  HaulStream(const std::shared_ptr<grpc::Channel>& channel, std::chrono::milliseconds idle);
  ~HaulStream() override;

  /// Whether a further transfer can be begun.
  bool usable();

  /// Begins a transfer, and gives its number. What is said goes with the first call. False: the
  /// parameters cannot be sent.
  bool begin(const std::string& functional, const HOQMessage& params, std::uint64_t& transfer);
  /// Runs a stage there and waits for its result.
  Answer stage(const std::string& name, bool withChannel, bool thenFinish);
  /// Ends the transfer there, unless a stage did so already, and here.
  Answer finish();

  /// Sends a transfer behind those under way; nothing else may be open. Sooner or later.
  void sendWhole(const hoq::v1::HaulRequest::Whole& whole);
  /// Waits for the outcome of the oldest of them; `stage`: which failed. Not came: none comes.
  Answer awaitWhole(std::string& stage);

  /// Breaks the stream off, and the transfer with it.
  void leave();

  /// The status with which the stream was lost; waits for it.
  grpc::Status lostWith();

 private:
  using Result = hoq::v1::HaulReply::Result;

  void startWrite(const hoq::v1::HaulRequest& message) override;
  void startRead(hoq::v1::HaulReply* message) override;
  void breakOff(Lock&, const char*) override { context_.TryCancel(); }
  bool step(Lock& lock, Clock::time_point deadline) override;
  void glance(Lock& lock) override;
  void settle(Lock& lock, std::chrono::milliseconds limit) override;
  void wake() override;
  bool takeTail(hoq::v1::HaulReply& message, Lock& lock) override;
  void streamEnded(Lock& lock) override;

  bool pump(Lock& lock, Clock::time_point deadline);
  Answer await(Lock& lock, std::optional<Result>& result);
  Answer noAnswer(Lock& lock, bool inTime);

  grpc::ClientContext context_;
  grpc::CompletionQueue queue_;
  std::unique_ptr<grpc::ClientAsyncReaderWriter<hoq::v1::HaulRequest, hoq::v1::HaulReply>> wire_;
  bool pumping_ = false;
  bool finishing_ = false;
  bool finished_ = false;  // status_ is there
  grpc::Status status_;
  grpc::Alarm alarm_;
  bool alarmed_ = false;
  std::optional<Result> stageResult_;
  std::optional<Result> finishResult_;
  bool finishAsked_ = false;    // with the last stage
  std::size_t wholeBytes_ = 0;  // in the message in the making
  std::size_t wholeDone_ = 0;   // and not told yet
  std::optional<hoq::v1::HaulReply::Failure> wholeFailed_;
};

}  // namespace HOQ::transport
