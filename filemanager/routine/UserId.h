#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace HOQ {

/// One row of a table of users or groups, ordered by name.
struct UserId {
  UserId(std::string rowName, std::uint32_t rowId) : id(rowId), name(std::move(rowName)) {}
  /// A search key.
  explicit UserId(std::string rowName) : UserId(std::move(rowName), 0) {}

  bool operator<(const UserId& other) const { return name < other.name; }

  std::uint32_t id;
  std::string name;
};

}  // namespace HOQ
