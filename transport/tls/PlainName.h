#pragma once

#include <string>
#include <string_view>

namespace HOQ::tls {

/// The pump's end of a connection's socket pair has a name, so that the process that is handed the
/// other end can tell where the connection came from: getpeername(2) gives the name there.

/// A fresh name that tells `address`, for bind(2): in the abstract namespace, the leading zero byte
/// left out. Only letters, digits and dots; it fits a socket's address.
std::string plainName(const std::string& address);

/// The address that such a name tells; empty for any other name.
std::string addressInPlainName(std::string_view name);

/// The same of the other side of a connected socket.
std::string addressBehind(int fd);

/// Gives a socket that name. Not every system lets it; then nobody can tell, and all else is well.
void bindPlainName(int fd, const std::string& address);

}  // namespace HOQ::tls
