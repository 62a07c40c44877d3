#include "OwnerText.h"

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

constexpr std::uint64_t kNobody = 0xFFFFFFFF;

[[noreturn]] void fail(std::string_view text, const char* why) {
  throw CommandError(kExitUsage, "bad owner \"" + std::string(text) + "\": " + why);
}

OwnerPart parsePart(std::string_view whole, std::string_view part) {
  if (part.empty()) return {};
  if (part.front() != '+') return {OwnerPart::Kind::kName, std::string(part)};
  const auto id = parseId(part.substr(1));
  if (!id) fail(whole, "an id is a number below 4294967295");
  return {OwnerPart::Kind::kId, "", *id};
}

}  // namespace

std::optional<std::uint32_t> parseId(std::string_view text) {
  std::uint64_t id = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    id = id * 10 + static_cast<std::uint64_t>(c - '0');
    if (id >= kNobody) return std::nullopt;
  }
  return text.empty() ? std::nullopt : std::optional(static_cast<std::uint32_t>(id));
}

OwnerText parseOwner(std::string_view text) {
  const std::size_t colon = text.find(':');
  const bool hasColon = colon != std::string_view::npos;
  OwnerText owner;
  owner.user = parsePart(text, text.substr(0, colon));
  if (hasColon) owner.group = parsePart(text, text.substr(colon + 1));
  const bool noGroup = owner.group.kind == OwnerPart::Kind::kUnchanged;
  owner.loginGroup = hasColon && noGroup;
  if (owner.user.kind == OwnerPart::Kind::kUnchanged && noGroup) fail(text, "nobody is named");
  if (owner.loginGroup && owner.user.kind == OwnerPart::Kind::kId)
    fail(text, "the login group of an id is not known; name the group");
  return owner;
}

}  // namespace HOQ::cli
