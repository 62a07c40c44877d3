#pragma once

#include <string>
#include <string_view>

namespace HOQ::cli {

/// RFC 4648, with padding.
std::string toBase64(std::string_view bytes);

/// Decodes the one text that toBase64() makes of some bytes. False, with `bytes` unchanged, for
/// any other text: foreign characters, missing padding, bits that stand for nothing.
[[nodiscard]] bool fromBase64(std::string_view text, std::string& bytes);

}  // namespace HOQ::cli
