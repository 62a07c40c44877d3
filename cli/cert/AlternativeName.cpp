#include "cert/AlternativeName.h"

#include <arpa/inet.h>

#include <algorithm>

namespace HOQ::cert {
namespace {

constexpr std::size_t kLongestName = 253;
constexpr std::size_t kLongestLabel = 63;

bool isIp(const std::string& text) {
  unsigned char bytes[sizeof(in6_addr)];
  return ::inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
         ::inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

bool isLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isLabel(const std::string& text) {
  return !text.empty() && text.size() <= kLongestLabel && text.front() != '-' &&
         text.back() != '-' && std::all_of(text.begin(), text.end(), [](char c) {
           return isLetterOrDigit(c) || c == '-' || c == '_';
         });
}

bool isDnsName(const std::string& text) {
  if (text.size() > kLongestName) return false;
  const bool isPattern = text.starts_with("*.");
  // "*.com" would be for everybody: nobody takes it.
  if (isPattern && text.find('.', 2) == text.npos) return false;
  std::size_t start = isPattern ? 2 : 0;
  for (;;) {
    const std::size_t dot = text.find('.', start);
    if (!isLabel(text.substr(start, dot - start))) return false;
    if (dot == text.npos) break;
    start = dot + 1;
  }
  // What looks like an address and is none would never be looked for among the names.
  return text.find_first_not_of("0123456789.") != text.npos;
}

bool isUri(const std::string& text) {
  const std::size_t colon = text.find("://");
  return colon != text.npos && colon > 0 && colon + 3 < text.size() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

}  // namespace

tls::Result<AlternativeName> AlternativeName::parse(const std::string& text) {
  if (isIp(text)) return AlternativeName{Kind::kIp, text};
  if (isUri(text)) return AlternativeName{Kind::kUri, text};
  if (isDnsName(text)) return AlternativeName{Kind::kDns, text};
  std::string shown;
  for (const char c : text) shown += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
  return tls::Error{tls::ErrorKind::kUsage, "\"" + shown +
                                                "\" is neither a DNS name nor an IP address "
                                                "(without port or brackets)"};
}

}  // namespace HOQ::cert
