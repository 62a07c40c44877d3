#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace HOQ::tls {

/// Who showed a certificate: its subject alternative names, never its common name.
struct Peer {
  std::vector<std::string> dnsNames;  ///< in lower case
  std::vector<std::string> uriNames;  ///< as they stand
  std::vector<std::string> ipNames;   ///< numeric: "192.0.2.1", "2001:db8::1"
  std::string fingerprint;            ///< SHA-256 of the certificate, 64 lower-case hex digits
  std::string serial;                 ///< hex digits, upper case
  std::int64_t notAfter = 0;          ///< its last second, since 1970
  std::string address;                ///< the socket's other end; see remoteAddress()

  /// A DNS or URI name is `name` (DNS names whatever the case; no pattern is expanded).
  bool hasName(const std::string& name) const;
};

}  // namespace HOQ::tls
