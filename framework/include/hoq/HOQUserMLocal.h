#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctionalFactory.h>

namespace HOQ {

/// Selects a user by name or id; a fresh one selects all.
struct HOQUserNameID {
  std::string name;
  std::uint32_t id = 0xFFFFFFFF;
};

/// Selects a group by name or id; a fresh one selects all.
struct HOQGroupNameID {
  std::string name;
  std::uint32_t id = 0xFFFFFFFF;
};

struct HOQUser {
  std::string name;
  std::uint32_t id;
};

struct HOQGroup {
  std::string name;
  std::uint32_t id;
};

/// The users and groups of this node, as the system's databases have them (passwd(5), group(5),
/// and what nsswitch.conf adds).
class HOQ_EXPORT HOQUserMLocal {
 public:
  /// `access` may be empty.
  explicit HOQUserMLocal(const HOQAccessProviderPtr& access);

  /// Appends the selected users in the database's order. 0; -1 with errno when the database
  /// cannot be read. Nobody found is no failure. Any thread: enumerations, which the system keeps
  /// one cursor for, take turns.
  int getUser(std::vector<HOQUser>& users, const HOQUserNameID& which) const;
  int getGroup(std::vector<HOQGroup>& groups, const HOQGroupNameID& which) const;
};

}  // namespace HOQ
