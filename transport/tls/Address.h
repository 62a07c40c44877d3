#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tls/Result.h"

namespace HOQ::tls {

/// Where a node listens: a host and a port, or a UNIX socket's path.
///
/// "host:port", "host" (port 7850), "a.b.c.d:port", "[IPv6]:port", "[IPv6]", "unix:/path".
class Address {
 public:
  static constexpr std::uint16_t kDefaultPort = 7850;

  /// Takes `text` apart; nothing is looked up. kUsage, naming the text, where it is no address: an
  /// empty host, a port that is no number up to 65535, an IPv6 address without brackets, a UNIX
  /// path that is relative or longer than the system takes (107 bytes), a control character or a
  /// blank anywhere. Port 0 is taken: where it is listened on, the system chooses.
  static Result<Address> parse(std::string_view text);

  static Address unixSocket(std::string path);
  /// `host` without brackets.
  static Address ofHost(std::string host, std::uint16_t port);

  bool isUnix() const { return !path_.empty(); }
  const std::string& path() const { return path_; }  ///< empty unless isUnix()
  const std::string& host() const { return host_; }  ///< without brackets; empty if isUnix()
  std::uint16_t port() const { return port_; }

  /// What parse() takes, always with the port: "host:7850", "[::1]:7850", "unix:/path".
  std::string text() const;

  friend bool operator==(const Address&, const Address&) = default;

 private:
  Address() = default;

  std::string path_;
  std::string host_;
  std::uint16_t port_ = 0;
};

}  // namespace HOQ::tls
