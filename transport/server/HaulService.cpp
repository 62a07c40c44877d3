#include <hoq/v1/haul.grpc.pb.h>

#include <utility>

#include "server/HaulCall.h"
#include "server/Services.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;
using Reactor = grpc::ServerBidiReactor<wire::HaulRequest, wire::HaulReply>;

/// The wire of a stream of transfers. Deletes itself.
class HaulReactor final : public Reactor, public HaulWire {
 public:
  HaulReactor(grpc::CallbackServerContext* context, std::shared_ptr<HaulCall> call)
      : context_(context), call_(std::move(call)) {}

  void write(const wire::HaulReply& reply) override { StartWrite(&reply); }
  void read(wire::HaulRequest* request) override { StartRead(request); }
  void finish(const grpc::Status& status) override { Finish(status); }
  void cancel() override { context_->TryCancel(); }

  void OnWriteDone(bool ok) override { call_->onWrote(ok); }
  void OnReadDone(bool ok) override { call_->onGot(ok); }
  void OnCancel() override { call_->onCancel(); }
  void OnDone() override { delete this; }

 private:
  grpc::CallbackServerContext* const context_;
  const std::shared_ptr<HaulCall> call_;
};

/// A stream that is not taken.
class RefusingReactor final : public Reactor {
 public:
  explicit RefusingReactor(const grpc::Status& status) { Finish(status); }
  void OnDone() override { delete this; }
};

class HaulService final : public wire::Haul::CallbackService {
 public:
  HaulService(std::shared_ptr<Ledger> ledger, Pool& transfers)
      : ledger_(std::move(ledger)), transfers_(transfers) {}

  Reactor* Transfer(grpc::CallbackServerContext* context) override {
    Ledger::Admission admission = ledger_->admitStream();
    if (admission == Ledger::Admission::kTooMany) {
      ledger_->endIdle();  // they give way; their clients open others when they need them
      admission = ledger_->admitStream();
    }
    if (admission == Ledger::Admission::kTooMany)
      return new RefusingReactor(
          {grpc::StatusCode::RESOURCE_EXHAUSTED,
           "The node is busy: it has as many calls of this client as it takes"});
    if (admission == Ledger::Admission::kGoesDown)
      return new RefusingReactor({grpc::StatusCode::UNAVAILABLE, "The node goes down"});
    const auto call =
        std::make_shared<HaulCall>(ledger_, transfers_, callerAddress(context->peer()));
    auto* const reactor = new HaulReactor(context, call);
    call->begin(reactor);
    return reactor;
  }

 private:
  const std::shared_ptr<Ledger> ledger_;
  Pool& transfers_;
};

}  // namespace

std::unique_ptr<grpc::Service> makeHaulService(std::shared_ptr<Ledger> ledger, Pool& transfers) {
  return std::make_unique<HaulService>(std::move(ledger), transfers);
}

}  // namespace HOQ::transport
