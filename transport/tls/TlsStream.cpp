#include "tls/TlsStream.h"

#include <sys/socket.h>

#include <cstring>

#include "tls/Certificate.h"
#include "tls/HandshakeAdvice.h"
#include "tls/SocketBio.h"
#include "tls/Sockets.h"

namespace HOQ::tls {
namespace {

bool isH2(const SSL* ssl) {
  const unsigned char* chosen = nullptr;
  unsigned int length = 0;
  SSL_get0_alpn_selected(ssl, &chosen, &length);
  return length == 2 && std::memcmp(chosen, "h2", 2) == 0;
}

/// The first of the names that can be sent ahead of the handshake: a DNS name.
const char* serverNameOf(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const bool isHost =
        name.find_first_not_of(
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._") == name.npos;
    if (isHost && name.find_first_not_of("0123456789.") != name.npos) return name.c_str();
  }
  return nullptr;
}

}  // namespace

TlsStream::TlsStream(TlsContextPtr context, Side side, UniqueFd socket,
                     std::vector<std::string> expectedNames)
    : context_(std::move(context)),
      socket_(std::move(socket)),
      side_(side),
      address_(remoteAddress(socket_.get())) {
  check_.expectedNames = std::move(expectedNames);
  if (lacksInput() != nullptr) return;
  SslPtr ssl = static_cast<const OpenSslContext&>(*context_).session(&check_);
  BIO* bio = ssl == nullptr ? nullptr : SocketBio::make(this);
  if (bio == nullptr) return;
  SSL_set_bio(ssl.get(), bio, bio);
  if (side == Side::kServer) {
    SSL_set_accept_state(ssl.get());
  } else {
    SSL_set_connect_state(ssl.get());
    const char* name = serverNameOf(check_.expectedNames);
    if (name != nullptr && SSL_set_tlsext_host_name(ssl.get(), name) != 1) return;
  }
  ssl_ = std::move(ssl);
}

const char* TlsStream::lacksInput() const {
  if (!socket_) return "no socket was given";
  if (context_ == nullptr) return "no certificate was given";
  if (side_ == Side::kClient && check_.expectedNames.empty())
    return "no name was given that the node should have";
  return nullptr;
}

const char* TlsStream::lacks() const {
  const char* input = lacksInput();
  return input == nullptr && ssl_ == nullptr ? "out of memory" : input;
}

TlsStream::Step TlsStream::handshake() {
  ERR_clear_error();
  const Step step = outcome(SSL_do_handshake(ssl_.get()));
  if (step != Step::kDone) return step;
  shaken_ = true;
  if (isH2(ssl_.get())) return step;
  error_ = {ErrorKind::kProtocol, address_ + ": it does not speak \"h2\" (ALPN)"};
  return Step::kFailed;
}

TlsStream::Step TlsStream::read(unsigned char* bytes, std::size_t count, std::size_t* got) {
  *got = 0;
  ERR_clear_error();
  return outcome(SSL_read_ex(ssl_.get(), bytes, count, got));
}

TlsStream::Step TlsStream::write(const unsigned char* bytes, std::size_t count,
                                 std::size_t* taken) {
  *taken = 0;
  moreFollows_ = count > SSL3_RT_MAX_PLAIN_LENGTH;  // a call writes one record
  ERR_clear_error();
  return outcome(SSL_write_ex(ssl_.get(), bytes, count, taken));
}

TlsStream::Step TlsStream::finish() {
  moreFollows_ = false;
  ERR_clear_error();
  const int result = SSL_shutdown(ssl_.get());
  return result >= 0 ? Step::kDone : outcome(result);  // 0: sent, and not answered yet
}

TlsStream::Step TlsStream::outcome(int result) {
  if (result == 1) return Step::kDone;
  const int code = SSL_get_error(ssl_.get(), result);
  if (code == SSL_ERROR_WANT_READ || code == SSL_ERROR_WANT_WRITE) {
    const Step wait = code == SSL_ERROR_WANT_READ ? Step::kWaitToRead : Step::kWaitToWrite;
    return isReady(wait) ? Step::kAgain : wait;
  }
  if (code == SSL_ERROR_ZERO_RETURN && shaken_) return Step::kEnd;
  error_ = explain(code);
  error_.text = address_ + ": " + error_.text;
  ERR_clear_error();
  return Step::kFailed;
}

Error TlsStream::explain(int sslError) const {
  if (check_.found) return *check_.found;
  const unsigned long code = ERR_peek_error();
  if (sslError == SSL_ERROR_SSL && ERR_GET_REASON(code) != SSL_R_UNEXPECTED_EOF_WHILE_READING)
    return adviceOn(code, !shaken_);
  if (socketError_ != 0)
    return {ErrorKind::kLost, std::string("the connection broke: ") + std::strerror(socketError_)};
  return {ErrorKind::kLost,
          shaken_ ? "the connection was cut short" : "it hung up during the handshake"};
}

Peer TlsStream::peer() const {
  const X509Ptr certificate(SSL_get1_peer_certificate(ssl_.get()));
  Peer peer = certificate == nullptr ? Peer() : describe(certificate.get());
  peer.address = address_;
  return peer;
}

void TlsStream::drainSocket() {
  char unread[4096];
  for (int pieces = 0; pieces < 64; ++pieces)  // of one that never stops, not more
    if (::recv(socket_.get(), unread, sizeof unread, MSG_DONTWAIT) <= 0) return;
}

void TlsStream::resetOnClose() {
  const linger atOnce{1, 0};
  // Where it fails the close is an orderly one of the socket, and still none of the TLS stream.
  (void)::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

}  // namespace HOQ::tls
