#include <hoq/HOQIdentity.h>
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQVersion.h>
#include <hoq/v1/agent.grpc.pb.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>

#include "server/Services.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;

std::string bytesOf(const HOQEID& eid) {
  std::string bytes;
  for (const std::uint64_t half : {eid.high(), eid.low()})
    for (int shift = 56; shift >= 0; shift -= 8)
      bytes += static_cast<char>(static_cast<unsigned char>(half >> shift & 0xFF));
  return bytes;
}

/// Stays what it is as long as this process serves.
std::string ownUser() {
  HOQUserCredentials own(HOQUserCredentials::kNone, HOQUserCredentials::kNone);
  const std::uint32_t uid = ::geteuid();
  return credentialsOf(uid, own) == 0 ? own.name : std::to_string(uid);
}

class AgentService final : public wire::Agent::CallbackService {
 public:
  explicit AgentService(std::shared_ptr<Ledger> ledger) : ledger_(std::move(ledger)) {}

  /// Waits for nothing, so it may run where it is called.
  grpc::ServerUnaryReactor* Info(grpc::CallbackServerContext* context, const wire::InfoRequest*,
                                 wire::InfoReply* reply) override {
    const NodeServerSettings& settings = ledger_->settings();
    reply->set_version(frameworkVersion());
    reply->set_eid(bytesOf(settings.eid.isValid() ? settings.eid : nodeEID()));
    reply->set_client(settings.client->name());
    reply->set_may_read(settings.client->mayRead());
    reply->set_may_change(settings.client->mayChange());
    reply->set_clock_nanoseconds(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count());
    reply->set_user(user_);
    reply->set_message_bytes(static_cast<std::uint32_t>(settings.messageBytes));
    grpc::ServerUnaryReactor* const reactor = context->DefaultReactor();
    reactor->Finish(grpc::Status::OK);
    return reactor;
  }

 private:
  const std::shared_ptr<Ledger> ledger_;
  const std::string user_ = ownUser();
};

}  // namespace

std::unique_ptr<grpc::Service> makeAgentService(std::shared_ptr<Ledger> ledger) {
  return std::make_unique<AgentService>(std::move(ledger));
}

}  // namespace HOQ::transport
