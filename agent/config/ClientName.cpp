#include "config/ClientName.h"

#include <charconv>

namespace HOQ::agent {
namespace {

constexpr char kUid[] = "uid:";
constexpr std::size_t kUidLength = sizeof kUid - 1;
constexpr std::size_t kLongestName = 1024;

/// Not an identity: calls that set a user take it for "unchanged".
constexpr uid_t kNoUser = static_cast<uid_t>(-1);

}  // namespace

bool isUidName(const std::string& name) { return name.compare(0, kUidLength, kUid) == 0; }

std::optional<uid_t> uidOfName(const std::string& name) {
  if (!isUidName(name)) return std::nullopt;
  const char* const begin = name.data() + kUidLength;
  const char* const end = name.data() + name.size();
  uid_t uid = 0;
  const auto [stop, error] = std::from_chars(begin, end, uid);
  const bool leadingZero = end - begin > 1 && *begin == '0';
  if (error != std::errc() || stop != end || leadingZero || uid == kNoUser) return std::nullopt;
  return uid;
}

std::string badClientName(const std::string& name) {
  if (name.size() > kLongestName) return "too long";
  if (isUidName(name) && !uidOfName(name)) return "\"" + name + "\" names no user id";
  return "";
}

}  // namespace HOQ::agent
