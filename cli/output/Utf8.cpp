#include "output/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace HOQ::cli {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

template <std::size_t N>
bool within(const Range (&ranges)[N], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

constexpr Range kEscaped[] = {{0, 0x1F}, {0x7F, 0x9F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
constexpr Range kZeroWidth[] = {{0x300, 0x36F}, {0x200B, 0x200F}, {0xFE00, 0xFE0F}};
constexpr Range kDoubleWidth[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},
                                  {0xF900, 0xFAFF}, {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                                  {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};

bool isPrintableAscii(unsigned char byte) { return byte >= 0x20 && byte < 0x7F; }

void appendEscape(std::string& out, char32_t character) {
  switch (character) {
    case '\n':
      out += "\\n";
      break;
    case '\t':
      out += "\\t";
      break;
    case '\r':
      out += "\\r";
      break;
    default: {
      const auto code = static_cast<std::uint32_t>(character);
      out += code > 0xFF ? fmt::format("\\u{:04x}", code) : fmt::format("\\x{:02x}", code);
    }
  }
}

}  // namespace

bool decodeUtf8(std::string_view text, std::size_t& position, char32_t& character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(position);
  if (lead < 0x80) {
    character = lead;
    ++position;
    return true;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() - position < length) return false;
  char32_t value = lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned char next = byte(position + i);
    if ((next & 0xC0) != 0x80) return false;
    value = (value << 6) | (next & 0x3F);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < kSmallest[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
    return false;
  character = value;
  position += length;
  return true;
}

bool isUtf8(std::string_view text) {
  char32_t character = 0;
  for (std::size_t position = 0; position < text.size();)
    if (!decodeUtf8(text, position, character)) return false;
  return true;
}

std::string escapeForTerminal(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), isPrintableAscii)) return std::string(text);
  std::string out;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    char32_t character = 0;
    if (!decodeUtf8(text, position, character))
      fmt::format_to(std::back_inserter(out), "\\x{:02x}",
                     static_cast<unsigned char>(text[position++]));
    else if (within(kEscaped, character))
      appendEscape(out, character);
    else
      out.append(text.substr(start, position - start));
  }
  return out;
}

std::size_t displayWidth(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), isPrintableAscii)) return text.size();
  std::size_t width = 0;
  for (std::size_t position = 0; position < text.size();) {
    char32_t character = 0;
    if (!decodeUtf8(text, position, character)) {
      ++position;
      ++width;
      continue;
    }
    width += within(kZeroWidth, character) ? 0 : within(kDoubleWidth, character) ? 2 : 1;
  }
  return width;
}

}  // namespace HOQ::cli
