#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace HOQ::agent {

/// Whether `name` is of the form "uid:…", which only peers on a UNIX socket can have.
bool isUidName(const std::string& name);

/// The user id of "uid:N"; nothing for any other text.
std::optional<uid_t> uidOfName(const std::string& name);

/// Why `name` cannot stand in a [[client]]; empty if it can.
std::string badClientName(const std::string& name);

}  // namespace HOQ::agent
