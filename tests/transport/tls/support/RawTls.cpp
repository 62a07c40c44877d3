#include "transport/tls/support/RawTls.h"

#include <sys/socket.h>

#include <csignal>

#include "transport/tls/support/PumpHarness.h"

namespace HOQ::test {
namespace {

int chooseFirst(SSL*, const unsigned char** chosen, unsigned char* length,
                const unsigned char* offered, unsigned int, void*) {
  *length = offered[0];
  *chosen = offered + 1;
  return SSL_TLSEXT_ERR_OK;
}

}  // namespace

RawTls::RawTls(const RawTlsCase& what, tls::UniqueFd socket)
    : socket_(std::move(socket)), context_(SSL_CTX_new(TLS_method())) {
  SSL_CTX* context = context_.get();
  SSL_CTX_set_min_proto_version(context, what.version);
  SSL_CTX_set_max_proto_version(context, what.version);
  SSL_CTX_load_verify_file(context, what.files.authorities.c_str());
  if (!what.files.certificate.empty()) {
    SSL_CTX_use_certificate_chain_file(context, what.files.certificate.c_str());
    SSL_CTX_use_PrivateKey_file(context, what.files.key.c_str(), SSL_FILETYPE_PEM);
  }
  if (what.isServer && !what.alpn.empty())
    SSL_CTX_set_alpn_select_cb(context, chooseFirst, nullptr);
  ssl_.reset(SSL_new(context));
  if (!what.isServer && !what.alpn.empty())
    SSL_set_alpn_protos(ssl_.get(), reinterpret_cast<const unsigned char*>(what.alpn.data()),
                        static_cast<unsigned int>(what.alpn.size()));
  makeBlocking(socket_.get());
  SSL_set_fd(ssl_.get(), socket_.get());
  if (what.isServer)
    SSL_set_accept_state(ssl_.get());
  else
    SSL_set_connect_state(ssl_.get());
  // OpenSSL's own way to a socket raises it.
  std::signal(SIGPIPE, SIG_IGN);
}

bool RawTls::shake() { return SSL_do_handshake(ssl_.get()) == 1; }

bool RawTls::write(const std::string& text) {
  return SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size())) ==
         static_cast<int>(text.size());
}

std::string RawTls::read(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t got = 0;
  SSL_read_ex(ssl_.get(), bytes.data(), count, &got);
  bytes.resize(got);
  return bytes;
}

void RawTls::finish() { SSL_shutdown(ssl_.get()); }

bool RawTls::sawEnd() const { return (SSL_get_shutdown(ssl_.get()) & SSL_RECEIVED_SHUTDOWN) != 0; }

void RawTls::vanish(bool reset) {
  const linger atOnce{1, 0};
  if (reset) ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  socket_.reset();
}

}  // namespace HOQ::test
