#pragma once

#include <grpcpp/alarm.h>
#include <grpcpp/support/server_callback.h>
#include <hoq/v1/filer.pb.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include <hoq/HOQFiler.h>

#include "server/Ledger.h"
#include "server/Pool.h"

namespace HOQ::transport {

/// What a Filer call's replies are written to, and its items' bytes are read from. Valid until one
/// of the operations that finish.
class FilerWire {
 public:
  virtual ~FilerWire() = default;
  virtual void write(const hoq::v1::FilerReply& reply) = 0;
  virtual void writeAndFinish(const hoq::v1::FilerReply& reply) = 0;
  virtual void finish(const grpc::Status& status) = 0;
  virtual void cancel() = 0;
  virtual void read(hoq::v1::UploadRequest*) {}
};

/// One call to the Filer: the operation's thread on one side, the wire's on the other. Events are
/// gathered in a reply while another is being written; when enough waits, send() waits for the
/// client, at most for the idle limit, after which the client counts as gone. Any thread.
class FilerCall final : public LiveCall, public std::enable_shared_from_this<FilerCall> {
 public:
  /// The operation; throws nothing but what memory's end throws.
  using Body = std::function<hoq::v1::FilerEvent::Result(HOQFiler& filer, FilerCall& call)>;

  FilerCall(std::shared_ptr<Ledger> ledger, Pool& pool, CallRecord record);

  /// Has a thread of the pool run `body` with a fresh Filer, or refuses. Once.
  void start(FilerWire* wire, const hoq::v1::RequestContext& context, Body body);
  /// Finishes with an error instead.
  void refuse(FilerWire* wire, const grpc::Status& status);

  // For the operation's thread.

  /// When the client should have an event: with what comes next, within a moment that it shares
  /// with others of its kind, or at once.
  enum class Haste { kNone, kSoon, kNow };

  /// Passes an event on. False: the client is gone.
  bool send(hoq::v1::FilerEvent&& event, Haste haste);
  bool gone() const;
  /// The next message of an upload; false: there is none, and the client is gone.
  bool receive(hoq::v1::UploadRequest& message);
  CallRecord& record() { return record_; }
  /// Called before each record that the operation tells; see EventHandler.
  std::function<void()> beforeRecord;

  // The wire's events.
  void wrote(bool ok);
  void got(bool ok);
  void cancelled();

  /// Begins to read an upload's messages. `first` gets the first one, or null.
  void readMessages(FilerWire* wire, std::function<void(hoq::v1::UploadRequest*)> first);

  void breakOff(const char* trouble) override;

 private:
  using Lock = std::unique_lock<std::mutex>;

  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t kFlush = 64 * 1024;
  static constexpr std::chrono::milliseconds kPace{20};  // between replies for what has kSoon
  static constexpr std::size_t kMost = 512 * 1024;       // in the reply that is being gathered
  static constexpr std::size_t kMostReceived = 1024 * 1024;

  void run(const hoq::v1::RequestContext& context, const Body& body);
  hoq::v1::FilerEvent::Result perform(const hoq::v1::RequestContext& context, const Body& body);
  void end(const grpc::Status& status);
  void finishNow(Lock& lock);
  void flush(Lock& lock);
  void flushSoon();
  void flushIfDue(Lock& lock);
  void rearm(Lock& lock);

  const std::shared_ptr<Ledger> ledger_;
  Pool& pool_;
  CallRecord record_;  // the operation's thread's
  const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();

  mutable std::mutex mutex_;  // guards the rest
  std::condition_variable changed_;
  FilerWire* wire_ = nullptr;  // null when finished
  hoq::v1::FilerReply gathered_;
  std::size_t gatheredBytes_ = 0;
  hoq::v1::FilerReply flight_;  // the wire's while writing_
  bool writing_ = false;
  bool urgent_ = false;
  Clock::time_point flushed_;           // when the last write began
  std::unique_ptr<grpc::Alarm> alarm_;  // that makes it urgent
  bool alarmed_ = false;
  bool gone_ = false;
  bool ended_ = false;  // the operation
  std::string trouble_;
  grpc::Status status_;

  std::function<void(hoq::v1::UploadRequest*)> first_;
  hoq::v1::UploadRequest in_;  // the wire's while reading_
  std::deque<hoq::v1::UploadRequest> received_;
  std::size_t receivedBytes_ = 0;
  bool reading_ = false;
  bool arming_ = false;
  bool noMore_ = false;
};

}  // namespace HOQ::transport
