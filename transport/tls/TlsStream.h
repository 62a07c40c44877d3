#pragma once

#include <cstddef>
#include <string>

#include "tls/OpenSslContext.h"
#include "tls/UniqueFd.h"

namespace HOQ::tls {

/// One TLS session over a non-blocking socket. One thread at a time.
///
/// The socket is watched for edges: wake() says that it may be ready again. A call that finds it is
/// not answers kWaitToRead or kWaitToWrite, and is worth making again when isReady(that).
class TlsStream {
 public:
  enum class Side { kServer, kClient };
  enum class Step {
    kDone,         ///< it is done
    kAgain,        ///< something else was done; calling again may do it
    kWaitToRead,   ///< not before the socket can be read from
    kWaitToWrite,  ///< not before the socket can be written to
    kEnd,          ///< the other side said that it sends no more
    kFailed,       ///< see error(); nothing but destruction is left
  };

  /// `expectedNames` concern the client's side.
  TlsStream(TlsContextPtr context, Side side, UniqueFd socket,
            std::vector<std::string> expectedNames);

  int socket() const { return socket_.get(); }
  const std::string& address() const { return address_; }  ///< of the other side
  /// What it cannot begin without; null where all is there.
  const char* lacks() const;

  void wake(bool toRead, bool toWrite) {
    readable_ = readable_ || toRead;
    writable_ = writable_ || toWrite;
  }
  /// Whether a call that ended with `step` is worth making again.
  bool isReady(Step step) const {
    return step == Step::kWaitToRead ? readable_ : step != Step::kWaitToWrite || writable_;
  }

  Step handshake();
  Step read(unsigned char* bytes, std::size_t count, std::size_t* got);
  /// May take fewer. Unless kDone, what is tried next must begin with the same bytes and be
  /// no shorter.
  Step write(const unsigned char* bytes, std::size_t count, std::size_t* taken);
  /// Tells the other side that nothing more is sent.
  Step finish();

  /// After handshake().
  Peer peer() const;
  const Error& error() const { return error_; }

  /// Takes what has arrived and is not looked at, so that closing does not throw away what was
  /// sent.
  void drainSocket();
  /// Makes closing a reset: nothing unsent is sent any more.
  void resetOnClose();

 private:
  friend struct SocketBio;

  const char* lacksInput() const;
  Step outcome(int result);
  Error explain(int sslError) const;

  TlsContextPtr context_;
  HandshakeCheck check_;
  UniqueFd socket_;
  SslPtr ssl_;
  Side side_;
  bool moreFollows_ = false;  // the record that is written is not the last for now
  bool shaken_ = false;  // the handshake is over
  bool readable_ = true;
  bool writable_ = true;
  bool atEnd_ = false;   // the socket had no more to read, ever
  int socketError_ = 0;  // errno of the socket's last failure
  std::string address_;
  Error error_;
};

}  // namespace HOQ::tls
