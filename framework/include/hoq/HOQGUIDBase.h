#pragma once

#include <cstdint>

namespace HOQ {

/// A 128-bit identifier. All bits zero means "none".
class HOQGUIDBase {
 public:
  constexpr HOQGUIDBase() = default;
  constexpr HOQGUIDBase(std::uint64_t high, std::uint64_t low) : high_(high), low_(low) {}

  constexpr bool isValid() const { return high_ != 0 || low_ != 0; }
  constexpr std::uint64_t high() const { return high_; }
  constexpr std::uint64_t low() const { return low_; }

  friend constexpr bool operator==(const HOQGUIDBase&, const HOQGUIDBase&) = default;

 private:
  std::uint64_t high_ = 0;
  std::uint64_t low_ = 0;
};

}  // namespace HOQ
