#include "worker/FrontDialer.h"

#include <chrono>
#include <utility>

#include "tls/Address.h"
#include "tls/Sockets.h"

namespace HOQ::agent {
namespace {

constexpr std::chrono::seconds kConnectLimit{10};

transport::NodeFailure failureOf(DialOutcome outcome) {
  switch (outcome) {
    case DialOutcome::Connected:
      return transport::NodeFailure::kNone;
    case DialOutcome::Untrusted:
      return transport::NodeFailure::kUntrusted;
    case DialOutcome::Refused:
      return transport::NodeFailure::kRefused;
    case DialOutcome::Unreachable:
      break;
  }
  return transport::NodeFailure::kUnreachable;
}

/// As who we are, since that is how whoever listens there will know us.
transport::Dialled connectHere(const tls::Address& address) {
  auto socket = tls::connectTo(address, kConnectLimit);
  if (!socket) return {-1, transport::NodeFailure::kUnreachable, socket.error().text};
  return {socket->release(), transport::NodeFailure::kNone, ""};
}

}  // namespace

transport::Dialled FrontDialer::dial(const std::string& address) {
  const auto parsed = tls::Address::parse(address);
  if (parsed && parsed->isUnix()) return connectHere(*parsed);
  ControlClient::Dialled answer = control_.dial(address);
  const bool connected = answer.outcome == DialOutcome::Connected && answer.descriptor;
  if (connected) return {answer.descriptor.release(), transport::NodeFailure::kNone, ""};
  if (answer.outcome == DialOutcome::Connected) answer.outcome = DialOutcome::Unreachable;
  return {-1, failureOf(answer.outcome), std::move(answer.text)};
}

}  // namespace HOQ::agent
