#include "node/NodeTarget.h"

#include <algorithm>

namespace HOQ::cli {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 && std::all_of(text.begin(), text.end(), isDigit);
}

/// Where the host ends in `address`: at its port's colon, or at its end.
std::size_t endOfHost(const std::string& address) {
  if (address.front() != '[') return std::min(address.find(':'), address.size());
  const std::size_t bracket = address.find(']');
  return bracket == std::string::npos ? 0 : bracket + 1;
}

bool isAddress(const std::string& address) {
  if (address.empty() || address.front() == '.') return false;
  const std::size_t end = endOfHost(address);
  if (end == 0) return false;
  return end == address.size() || (address[end] == ':' && isPort(address.substr(end + 1)));
}

}  // namespace

std::optional<NodeTarget> parseNodeTarget(const std::string& argument) {
  const std::size_t slash = argument.find('/');
  if (slash == std::string::npos || slash < 2 || argument[slash - 1] != ':') return std::nullopt;
  NodeTarget target{argument.substr(0, slash - 1), argument.substr(slash)};
  if (!isAddress(target.address)) return std::nullopt;
  return target;
}

}  // namespace HOQ::cli
