#include "config/PeerPattern.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <optional>

namespace HOQ::agent {
namespace {

struct Parts {
  std::string host;  // without brackets
  std::string port;
  bool bracketed = false;
};

/// "HOST[:PORT]" or "[HOST][:PORT]"; nothing where it is neither.
std::optional<Parts> split(const std::string& pattern) {
  Parts parts{pattern, std::to_string(tls::Address::kDefaultPort), false};
  std::size_t colon = pattern.find(':');
  if (pattern.compare(0, 1, "[") == 0) {
    const std::size_t close = pattern.find(']');
    if (close == std::string::npos) return std::nullopt;
    parts.bracketed = true;
    parts.host = pattern.substr(1, close - 1);
    colon = close + 1 == pattern.size() ? std::string::npos : close + 1;
    if (colon != std::string::npos && pattern[colon] != ':') return std::nullopt;
  } else {
    parts.host = pattern.substr(0, colon);
  }
  if (colon != std::string::npos) parts.port = pattern.substr(colon + 1);
  const bool isPort =
      parts.port == "*" || (!parts.port.empty() && parts.port.size() <= 5 &&
                            std::all_of(parts.port.begin(), parts.port.end(),
                                        [](unsigned char c) { return std::isdigit(c); }));
  if (parts.host.empty() || !isPort) return std::nullopt;
  return parts;
}

/// Letters count the same in both cases, as in host names.
bool fits(const std::string& text, const std::string& pattern) {
  std::size_t t = 0;
  std::size_t p = 0;
  std::size_t star = std::string::npos;  // the last one met, and what it stood for until `t`
  std::size_t begin = 0;
  const auto same = [](unsigned char a, unsigned char b) {
    return std::tolower(a) == std::tolower(b);
  };
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      begin = t;
    } else if (p < pattern.size() &&
               same(static_cast<unsigned char>(text[t]), static_cast<unsigned char>(pattern[p]))) {
      ++t;
      ++p;
    } else if (star != std::string::npos) {
      p = star + 1;
      t = ++begin;
    } else {
      return false;
    }
  }
  return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(p), pattern.end(),
                     [](char c) { return c == '*'; });
}

bool isV4(const std::string& host) {
  in_addr unused{};
  return ::inet_pton(AF_INET, host.c_str(), &unused) == 1;
}

bool isV6(const std::string& host) { return host.find(':') != std::string::npos; }

/// "10.0.0.*", but not "*", which is for any host.
bool isNumericPattern(const std::string& host) {
  return host.find_first_not_of("0123456789.*") == std::string::npos &&
         host.find_first_of("0123456789") != std::string::npos;
}

}  // namespace

std::string badPeerPattern(const std::string& pattern) {
  if (pattern.compare(0, 5, "unix:") == 0) {
    return "UNIX sockets are reached by the users that requests run as, not by the daemon";
  }
  const bool blank = pattern.find(' ') != std::string::npos;
  if (!blank && split(pattern)) return "";
  return "\"" + pattern + "\" is no pattern of addresses, such as \"10.0.0.*:7850\"";
}

bool fitsPeerPattern(const tls::Address& address, const std::string& pattern) {
  const std::optional<Parts> parts = split(pattern);
  if (!parts || address.isUnix()) return false;
  const std::string& host = address.host();
  if (parts->bracketed && !isV6(host)) return false;
  if (isNumericPattern(parts->host) && !isV4(host)) return false;
  return fits(host, parts->host) && fits(std::to_string(address.port()), parts->port);
}

}  // namespace HOQ::agent
