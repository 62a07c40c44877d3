#include <grpcpp/grpcpp.h>
#include <hoq/v1/agent.grpc.pb.h>

#include <chrono>

#include "client/Link.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;

bool read(const std::string& bytes, HOQEID& eid) {
  if (bytes.size() != 16) return false;
  std::uint64_t halves[2] = {0, 0};
  for (std::size_t at = 0; at < bytes.size(); ++at)
    halves[at / 8] = halves[at / 8] << 8 | static_cast<unsigned char>(bytes[at]);
  eid = HOQEID(halves[0], halves[1]);
  return eid.isValid();
}

}  // namespace

NodeOutcome Link::info(NodeInfo& info) {
  grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + settings_.answer);
  wire::InfoReply reply;
  const auto asked = std::chrono::steady_clock::now();
  const grpc::Status status =
      wire::Agent::NewStub(channel_)->Info(&context, wire::InfoRequest(), &reply);
  const auto answered = std::chrono::steady_clock::now();
  if (!status.ok()) {
    noteLost();
    return outcomeOf(address_, status);
  }
  NodeInfo found;
  if (!read(reply.eid(), found.eid))
    return {NodeFailure::kProtocol, "Node \"" + address_ + "\" does not say who it is"};
  found.version = reply.version();
  found.client = reply.client();
  found.mayRead = reply.may_read();
  found.mayChange = reply.may_change();
  found.user = reply.user();
  found.clock = std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(
          std::chrono::nanoseconds(reply.clock_nanoseconds())));
  found.roundTrip = answered - asked;
  info = found;
  const std::lock_guard<std::mutex> lock(mutex_);
  info_ = found;
  knows_ = true;
  return {};
}

}  // namespace HOQ::transport
