#include "output/Base64.h"

#include <cstdint>

namespace HOQ::cli {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string toBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t have = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k)
      group = (group << 8) | (k < have ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    for (std::size_t k = 0; k < 4; ++k)
      text += k <= have ? kAlphabet[(group >> (18 - 6 * k)) & 0x3F] : '=';
  }
  return text;
}

bool fromBase64(std::string_view text, std::string& bytes) {
  std::string out;
  std::uint32_t bits = 0;
  int bitCount = 0;
  std::size_t used = text.size();
  while (used > 0 && text[used - 1] == '=') --used;
  for (const char c : text.substr(0, used)) {
    const std::size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) return false;
    bits = (bits << 6) | static_cast<std::uint32_t>(value);
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      out += static_cast<char>((bits >> bitCount) & 0xFF);
    }
  }
  if (toBase64(out) != text) return false;  // one text for the same bytes
  bytes = std::move(out);
  return true;
}

}  // namespace HOQ::cli
