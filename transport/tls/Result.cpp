#include "tls/Result.h"

namespace HOQ::tls {

const char* nameOf(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::kUsage:
      return "usage";
    case ErrorKind::kUnreachable:
      return "unreachable";
    case ErrorKind::kTimedOut:
      return "timed_out";
    case ErrorKind::kUntrusted:
      return "untrusted";
    case ErrorKind::kProtocol:
      return "protocol";
    case ErrorKind::kLost:
      return "lost";
    case ErrorKind::kClosed:
      return "closed";
    case ErrorKind::kSystem:
      break;
  }
  return "system";
}

}  // namespace HOQ::tls
