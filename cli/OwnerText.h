#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace HOQ::cli {

/// One half of an owner, as it was typed.
struct OwnerPart {
  enum class Kind { kUnchanged, kName, kId };
  Kind kind = Kind::kUnchanged;
  std::string name;
  std::uint32_t id = 0;
};

/// An owner as chown takes it: USER, USER:GROUP, :GROUP, USER: (with USER's login group), where
/// either may be +ID. Nothing is looked up here.
struct OwnerText {
  OwnerPart user;
  OwnerPart group;
  bool loginGroup = false;
};

/// Throws CommandError(kExitUsage) for text that is none: an owner that changes nothing, an id
/// that is no number below 4294967295, "+ID:", whose login group nobody knows.
OwnerText parseOwner(std::string_view text);

/// The number that `text` is, below 4294967295 (which is nobody's).
std::optional<std::uint32_t> parseId(std::string_view text);

}  // namespace HOQ::cli
