#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cert/Authority.h"
#include "support/TempDir.h"
#include "tls/TlsContext.h"

namespace HOQ::test {

constexpr std::int64_t kDay = 24 * 60 * 60;

/// From `from` to `to` days from now.
cert::Validity days(std::int64_t from, std::int64_t to);

/// What certificate to make.
struct CertificateCase {
  std::vector<std::string> names;
  cert::Validity validity = days(-1, 30);
  cert::KeyKind key = cert::KeyKind::kP256;
  bool forServers = true;
  bool forClients = true;
};

/// An authority with the certificates that it issued, as files in a directory of their own.
class Certificates {
 public:
  explicit Certificates(cert::KeyKind key = cert::KeyKind::kP256);

  /// Issues one; its files are named after `file`. What loads it, with this authority trusted.
  tls::TlsFiles issue(const std::string& file, const CertificateCase& what);
  /// The same, loaded.
  tls::TlsContextPtr context(const std::string& file, const CertificateCase& what);

  /// A file with these lines; its path.
  std::string write(const std::string& file, const std::string& text, unsigned mode = 0600);

  std::string authorityFile() const { return directory_ / "ca.pem"; }
  std::string file(const std::string& name) const { return directory_ / name; }

 private:
  TempDir directory_;
  cert::Authority authority_;
};

/// Loads, or fails the test and answers null.
tls::TlsContextPtr load(const tls::TlsFiles& files);

}  // namespace HOQ::test
