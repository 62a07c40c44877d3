#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace HOQ {

/// A progress record: where a command stands.
struct HOQRequestProgressData {
  using Value = std::variant<std::uint32_t, std::uint64_t, std::string>;

  struct Parameter {
    std::string name;
    Value value;
  };

  explicit HOQRequestProgressData(std::string statusText) : status(std::move(statusText)) {}

  std::string status;     // what is being worked on, for instance a path
  std::string operation;  // the operation's name; may be empty
  std::uint32_t percent = 0;
  std::vector<Parameter> parameters;  // in the order they were added
};

}  // namespace HOQ
