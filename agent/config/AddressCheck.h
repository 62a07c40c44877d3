#pragma once

#include <string>

namespace HOQ::agent {

/// Why `text` is no address to listen on; empty if it is one.
std::string badListenAddress(const std::string& text);

/// Why `text` is no address for metrics, which only this machine may read: a loopback address with
/// its port. Empty if it is one.
std::string badMetricsAddress(const std::string& text);

/// Whether a good address is a UNIX socket's.
bool isUnixAddress(const std::string& text);

}  // namespace HOQ::agent
