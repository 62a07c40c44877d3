#pragma once

#include <string>

#include "tls/Address.h"

namespace HOQ::agent {

// Patterns of addresses that may be dialled: "HOST:PORT" as addresses are written, the default port
// left out or not, where "*" stands for any text, also an empty one: "10.0.0.*:7850",
// "*.example.org", "[fd00::*]:*", "*:7850". A host of digits and dots fits numeric addresses only:
// "10.0.0.*" is not the host "10.0.0.example.org".

/// Why `pattern` is none; empty if it is one.
std::string badPeerPattern(const std::string& pattern);

/// Whether `address`, which is no UNIX socket's, fits a good pattern.
bool fitsPeerPattern(const tls::Address& address, const std::string& pattern);

}  // namespace HOQ::agent
