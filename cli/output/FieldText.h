#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <hoq/HOQFileType.h>

namespace HOQ::cli {

/// "drwxr-sr-t": type and permissions, as ls shows them. An unknown type is "?".
std::array<char, 10> modeText(const HOQFileType& record);

/// Bytes; `human`: in units of 1024 with at most one digit behind the point, rounded up ("1.5K").
std::string sizeText(std::uint64_t bytes, bool human);

/// The type in words, for instance "regular file".
const char* kindText(std::uint32_t kind);

/// The name, or the id where the node knows no name.
std::string ownerText(const std::string& name, std::uint32_t id);

/// Local times as "YYYY-MM-DD HH:MM". Remembers minutes that were asked for. One thread.
class TimeText {
 public:
  /// Valid until the next call.
  std::string_view of(std::int64_t seconds);

 private:
  struct Minute {
    std::int64_t minute = INT64_MIN;
    std::string text;
  };

  std::array<Minute, 256> minutes_;
  std::string odd_;
};

}  // namespace HOQ::cli
