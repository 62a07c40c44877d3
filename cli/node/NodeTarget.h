#pragma once

#include <optional>
#include <string>

namespace HOQ::cli {

/// A place on another node, as an argument names it.
struct NodeTarget {
  std::string address;  // as --node takes it
  std::string path;     // absolute

  /// As an argument would name it.
  std::string text() const { return address + ":" + path; }
};

/// "HOST:/path", "HOST:PORT:/path", "[IPv6]:/path" or "[IPv6]:PORT:/path". Anything else is a local
/// path: so is one that begins with "/" or ".", whatever follows.
std::optional<NodeTarget> parseNodeTarget(const std::string& argument);

}  // namespace HOQ::cli
