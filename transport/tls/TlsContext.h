#pragma once

#include <memory>
#include <string>

#include "tls/Peer.h"
#include "tls/Result.h"

namespace HOQ::tls {

/// PEM files. `revoked` may be empty: nothing is revoked.
struct TlsFiles {
  std::string authorities;  ///< certificates that the other side's must come from
  std::string certificate;  ///< ours, and after it those between it and the authority
  std::string key;          ///< of our certificate
  std::string revoked;      ///< one SHA-256 fingerprint a line; colons and '#' comments are fine
};

/// What this node shows and whom it trusts, for both sides of a connection.
///
/// TLS 1.3 only, no tickets, no resumption, no compression, no renegotiation; ALPN must settle on
/// "h2"; both sides must show a certificate that comes from the authorities, is in time, is made
/// for its side, and neither is revoked itself nor through a certificate on its way.
///
/// Immutable: read the files again into a new one and hand that to new connections; old ones keep
/// theirs. Any thread.
class TlsContext {
 public:
  /// kUsage, naming file and reason: cannot be read, not PEM, the key is not the certificate's,
  /// expired or not valid yet, a line of the revoked list that is no fingerprint. The key's file
  /// must belong to us or root and must not be readable by group or others, as ssh has it;
  /// root's key may be readable by its group, so that a daemon's group can be given it.
  static Result<std::shared_ptr<const TlsContext>> load(const TlsFiles& files);

  virtual ~TlsContext() = default;

  /// Our own certificate (`address` is empty).
  virtual const Peer& own() const = 0;

  /// Whether a certificate of this fingerprint (64 lower-case hex digits) is on the revoked list.
  /// Connections that stand are not looked at again by themselves.
  virtual bool isRevoked(const std::string& fingerprint) const = 0;

 protected:
  TlsContext() = default;
};

using TlsContextPtr = std::shared_ptr<const TlsContext>;

}  // namespace HOQ::tls
