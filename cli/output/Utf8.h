#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace HOQ::cli {

/// Reads the character at `position` and steps over it. False, with `position` unchanged, where no
/// well-formed one stands (overlong forms, surrogates and what is above U+10FFFF are none).
[[nodiscard]] bool decodeUtf8(std::string_view text, std::size_t& position, char32_t& character);

[[nodiscard]] bool isUtf8(std::string_view text);

/// `text` as a terminal may show it: control characters, direction marks that reorder what
/// stands beside them, and bytes that are not UTF-8 appear as escapes ("\n", "\x1b", "\u202e").
std::string escapeForTerminal(std::string_view text);

/// How many terminal columns `text` takes; meant for escaped text.
std::size_t displayWidth(std::string_view text);

}  // namespace HOQ::cli
