#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "tls/OpenSslHandles.h"
#include "tls/TlsContext.h"
#include "tls/UniqueFd.h"

namespace HOQ::test {

/// A TLS party that is not ours: OpenSSL as others use it, blocking, with what a case needs.
struct RawTlsCase {
  tls::TlsFiles files;  ///< an empty certificate: it shows none
  int version = TLS1_3_VERSION;
  std::string alpn = "\x02h2";  ///< as on the wire; empty: the extension is left out
  bool isServer = false;
};

class RawTls {
 public:
  RawTls(const RawTlsCase& what, tls::UniqueFd socket);

  /// Whether the handshake succeeded as this side sees it.
  bool shake();
  bool write(const std::string& text);
  /// At most `count` bytes; empty at the end and on a failure.
  std::string read(std::size_t count);
  /// Sends close_notify.
  void finish();
  /// Whether the other side's end of data was an orderly one.
  bool sawEnd() const;
  /// Closes the socket without a word; `reset`: not even in order as TCP has it.
  void vanish(bool reset);

  int socket() const { return socket_.get(); }

 private:
  tls::UniqueFd socket_;
  std::unique_ptr<SSL_CTX, tls::OpenSslFree<SSL_CTX_free>> context_;
  std::unique_ptr<SSL, tls::OpenSslFree<SSL_free>> ssl_;
};

}  // namespace HOQ::test
