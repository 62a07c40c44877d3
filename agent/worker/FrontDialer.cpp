#include "worker/FrontDialer.h"

#include <utility>

namespace HOQ::agent {
namespace {

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

}  // namespace

transport::Dialled FrontDialer::dial(const std::string& address) {
  ControlClient::Dialled answer = control_.dial(address);
  const bool connected = answer.outcome == DialOutcome::Connected && answer.descriptor;
  if (connected) return {answer.descriptor.release(), transport::NodeFailure::kNone, ""};
  if (answer.outcome == DialOutcome::Connected) answer.outcome = DialOutcome::Unreachable;
  return {-1, failureOf(answer.outcome), std::move(answer.text)};
}

}  // namespace HOQ::agent
