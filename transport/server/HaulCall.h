#pragma once

#include <grpcpp/support/server_callback.h>
#include <hoq/v1/haul.pb.h>

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <variant>

#include <hoq/HOQMessage.h>
#include <hoq/HOQStageService.h>

#include "haul/TransferStream.h"
#include "server/HaulCreate.h"
#include "server/Ledger.h"
#include "server/Pool.h"
#include "server/WholeTransfers.h"

namespace HOQ::transport {

/// What the server's stream of transfers is written to and read from. Valid until finish().
class HaulWire {
 public:
  virtual ~HaulWire() = default;
  virtual void write(const hoq::v1::HaulReply& reply) = 0;
  virtual void read(hoq::v1::HaulRequest* request) = 0;
  virtual void finish(const grpc::Status& status) = 0;
  virtual void cancel() = 0;
};

/// A client's stream of transfers: each runs its stages in a thread of the pool, which stays with
/// the transfer, while the bytes of its channel pass beside it.
class HaulCall final : public TransferStream<hoq::v1::HaulReply, hoq::v1::HaulRequest>,
                       public LiveCall,
                       public std::enable_shared_from_this<HaulCall> {
 public:
  /// `address`: where the client's connection came from; may be empty.
  HaulCall(std::shared_ptr<Ledger> ledger, Pool& pool, std::string address);
  ~HaulCall() override;

  /// Begins to read. Once.
  void begin(HaulWire* wire);

  // The wire's events.
  void onWrote(bool ok) { wrote(ok); }
  void onGot(bool ok) { got(ok); }
  void onCancel();

  void breakOff(const char* trouble) override;
  void endIfIdle() override;

 private:
  struct Stage {
    std::string name;
    bool withChannel;
    bool thenFinish;
  };
  struct Finish {};
  using Command = std::variant<HaulCreate, Stage, Finish, WholeTransfers::Item>;

  /// Wait at most before no more is read: a client waits for results, so there are few, unless
  /// transfers come whole.
  static constexpr std::size_t kCommands = 32;

  void startWrite(const hoq::v1::HaulReply& message) override { wire_->write(message); }
  void startRead(hoq::v1::HaulRequest* message) override { wire_->read(message); }
  void breakOff(Lock& lock, const char* why) override;
  bool step(Lock& lock, Clock::time_point deadline) override;
  bool takeHead(hoq::v1::HaulRequest& message, Lock& lock) override;
  bool takeTail(hoq::v1::HaulRequest& message, Lock& lock) override;
  bool wantsMore() const override { return commands_.size() < kCommands; }
  void streamEnded(Lock& lock) override;

  bool startThread();
  void run();
  bool nextCommand(Command& command);
  void abandon(Lock& lock);
  void describe(const HaulCreate& create);
  void perform(HaulCreate& create);
  void perform(Stage& stage);
  void perform(Finish&);
  bool takeWhole(hoq::v1::HaulRequest& message);
  void perform(WholeTransfers::Item& item);
  void finishTransfer();
  void report(std::string trouble);
  void uncount();

  const std::shared_ptr<Ledger> ledger_;
  Pool& pool_;
  const std::string address_;
  HaulWire* wire_ = nullptr;  // not owned
  std::deque<Command> commands_;
  bool running_ = false;                 // a thread has the stream
  bool busy_ = false;                    // from a create to its finish, or with whole ones
  std::size_t wholes_ = 0;               // transfers that came whole, and wait or run
  bool closed_ = false;                  // one of them has failed
  bool finished_ = false;                // the wire's
  std::atomic<bool> uncounted_ = false;  // no more among the open streams
  grpc::Status status_;

  // The thread's.
  std::unique_ptr<HOQStageService> service_;
  HOQChannelEndPtr end_;  // the service's: it must not seem gone while the transfer is under way
  int refusal_ = 0;       // why there is no service
  std::string refusalText_;
  CallRecord record_;
  Clock::time_point began_;
  Ledger::Held held_ = Ledger::Held::kNone;
  WholeTransfers whole_;
};

}  // namespace HOQ::transport
