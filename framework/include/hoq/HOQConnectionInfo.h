#pragma once

#include <string>

namespace HOQ {

/// Names the node that a request is to reach.
struct HOQConnectionInfo {
  /// "host:port", "[IPv6]:port" or "unix:/path" for a node reached over a connection; "local:" for
  /// this process; empty for none.
  std::string target;
};

}  // namespace HOQ
