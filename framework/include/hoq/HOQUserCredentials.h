#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace HOQ {

/// On whose behalf a request works.
struct HOQUserCredentials {
  /// The value of an id that is not given.
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  /// Name and group names empty, umask 0; `gid` is the first of `gids` unless it is kNone.
  HOQUserCredentials(std::uint32_t userId, std::uint32_t groupId) : uid(userId) {
    if (groupId != kNone) gids.push_back(groupId);
  }

  std::string name;  // user name; may be empty
  std::uint32_t uid;
  std::vector<std::string> groups;  // names of supplementary groups
  std::vector<std::uint32_t> gids;  // the first is the primary group
  int umask = 0;                    // below 0: not given
};

}  // namespace HOQ
