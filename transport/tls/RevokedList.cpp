#include "tls/RevokedList.h"

#include <algorithm>

namespace HOQ::tls {
namespace {

constexpr std::size_t kDigits = 64;
constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view line) {
  line = line.substr(0, line.find('#'));
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == line.npos) return {};
  return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The fingerprint's digits in lower case; empty where it is none.
std::string digitsOf(std::string_view text) {
  text.remove_prefix(text.find('=') == text.npos ? 0 : text.find('=') + 1);
  std::string digits;
  for (const char c : text) {
    if (c == ':') continue;
    if (!isHexDigit(c) || digits.size() == kDigits) return "";
    digits += c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c;
  }
  return digits.size() == kDigits ? digits : "";
}

}  // namespace

Result<RevokedList> parseRevokedList(const std::string& file, std::string_view text) {
  RevokedList revoked;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty()) continue;
    std::string digits = digitsOf(line);
    if (digits.empty())
      return Error{ErrorKind::kUsage, file + ": line " + std::to_string(number) +
                                          " is no SHA-256 fingerprint (64 hex digits)"};
    revoked.insert(std::move(digits));
  }
  return revoked;
}

}  // namespace HOQ::tls
