#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cert/AlternativeName.h"
#include "tls/OpenSslHandles.h"
#include "tls/Result.h"

namespace HOQ::cert {

/// A certificate and its private key, as PEM texts, and what may be told of it.
struct PemPair {
  std::string certificate;
  std::string key;
  std::string fingerprint;    ///< SHA-256, 64 lower-case hex digits
  std::int64_t notAfter = 0;  ///< its last second, since 1970
};

/// From its first to its last second, since 1970.
struct Validity {
  std::int64_t notBefore = 0;
  std::int64_t notAfter = 0;
};

/// ECDSA on P-256, and RSA for those who look at what others made.
enum class KeyKind { kP256, kRsa2048 };

/// What to issue. The first name is the subject's common name as well, where it is short enough.
struct Wanted {
  std::vector<AlternativeName> names;
  Validity validity;
  KeyKind key = KeyKind::kP256;
  bool forServers = true;
  bool forClients = true;
};

/// A certificate authority of ours: a self-signed certificate and its key. One thread at a time.
class Authority {
 public:
  /// A new one, its name made different from all others'. kSystem.
  static tls::Result<Authority> make(const Validity& validity, KeyKind key = KeyKind::kP256);

  /// That of two PEM texts. kUsage, naming the file: not PEM, no authority, the key of another.
  /// `certificateFile` and `keyFile` are for messages only.
  static tls::Result<Authority> load(const std::string& certificate,
                                     const std::string& certificateFile, const std::string& key,
                                     const std::string& keyFile);

  /// Its own certificate and key.
  tls::Result<PemPair> pair() const;
  Validity validity() const;

  /// A certificate with a key of its own and a random serial number. kUsage without a name;
  /// kSystem.
  tls::Result<PemPair> issue(const Wanted& wanted) const;

 private:
  Authority(tls::X509Ptr certificate, tls::KeyPtr key)
      : certificate_(std::move(certificate)), key_(std::move(key)) {}

  tls::X509Ptr certificate_;
  tls::KeyPtr key_;
};

}  // namespace HOQ::cert
