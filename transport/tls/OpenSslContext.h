#pragma once

#include <openssl/ssl.h>

#include <optional>
#include <string>
#include <vector>

#include "tls/OpenSslHandles.h"
#include "tls/RevokedList.h"
#include "tls/TlsContext.h"

namespace HOQ::tls {

using SslContextPtr = std::unique_ptr<SSL_CTX, OpenSslFree<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, OpenSslFree<SSL_free>>;

/// What a handshake is checked against and what was found; the session's application data. Outlives
/// the session.
struct HandshakeCheck {
  std::vector<std::string> expectedNames;  ///< of the server; a client's are not looked at here
  std::optional<Error> found;              ///< why our side ended the handshake
};

/// The one kind of TlsContext there is.
class OpenSslContext final : public TlsContext {
 public:
  OpenSslContext(Peer own, RevokedList revoked)
      : own_(std::move(own)), revoked_(std::move(revoked)) {}

  /// Takes the certificate with what follows it, its key and the authorities. Once, before use.
  std::optional<Error> fill(const TlsFiles& files, const std::vector<X509Ptr>& chain, EVP_PKEY* key,
                            const std::vector<X509Ptr>& authorities);

  /// A session that does not know its side yet. Null: out of memory. `check` is not owned.
  SslPtr session(HandshakeCheck* check) const;

  const Peer& own() const override { return own_; }
  bool isRevoked(const std::string& fingerprint) const override {
    return revoked_.count(fingerprint) != 0;
  }

 private:
  bool restrict();

  Peer own_;
  RevokedList revoked_;
  SslContextPtr context_;
};

}  // namespace HOQ::tls
