#include "tls/OpenSslContext.h"

#include <algorithm>
#include <cstring>

#include "tls/Certificate.h"

namespace HOQ::tls {
namespace {

// As ALPN writes a list of protocols: each with its length before it.
constexpr unsigned char kH2[] = {2, 'h', '2'};
// AES in hardware is everywhere; its shorter key is faster and no weaker link here.
constexpr char kCiphers[] =
    "TLS_AES_128_GCM_SHA256:TLS_AES_256_GCM_SHA384:TLS_CHACHA20_POLY1305_SHA256";
constexpr int kSecurityLevel = 2;  // no RSA below 2048 bits, no SHA-1
constexpr int kMostBetween = 8;    // certificates between the other side's and the authority

HandshakeCheck* checkOf(const SSL* ssl) {
  return static_cast<HandshakeCheck*>(SSL_get_app_data(ssl));
}

std::string adviceOn(int code, const X509* certificate) {
  switch (code) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return " has expired: issue a new one (or compare the clocks)";
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return " is not valid yet: compare the clocks";
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_CERT_SIGNATURE_FAILURE:
      return " does not come from an authority that we trust: compare the ca files";
    case X509_V_ERR_INVALID_PURPOSE:
      return " is not made for this use (extended key usage)";
    case X509_V_ERR_CERT_REVOKED:
      return " is revoked (" + fingerprintOf(certificate) + ")";
    default:
      return std::string(" is refused: ") + X509_verify_cert_error_string(code);
  }
}

Error distrust(X509_STORE_CTX* store) {
  const X509* certificate = X509_STORE_CTX_get_current_cert(store);
  const int depth = X509_STORE_CTX_get_error_depth(store);
  const int code = X509_STORE_CTX_get_error(store);
  if (certificate == nullptr) return {ErrorKind::kUntrusted, X509_verify_cert_error_string(code)};
  const std::string which =
      depth == 0 ? "its certificate (" + namesOf(certificate) + ")" : "its authority's certificate";
  return {ErrorKind::kUntrusted, which + adviceOn(code, certificate)};
}

bool isExpected(X509* certificate, const std::vector<std::string>& names) {
  return std::any_of(names.begin(), names.end(),
                     [certificate](const std::string& name) { return bears(certificate, name); });
}

Error wrongName(const X509* certificate, const std::vector<std::string>& names) {
  std::string wanted;
  for (const std::string& name : names) wanted += (wanted.empty() ? "" : " or ") + name;
  return {ErrorKind::kUntrusted, "its certificate is for " + namesOf(certificate) + ", not for " +
                                     wanted + ": check the address, or issue one for that name"};
}

/// Called for each certificate of a chain, the authority's first.
int verifyOne(int isGood, X509_STORE_CTX* store) {
  auto* ssl =
      static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
  const auto* context =
      static_cast<const OpenSslContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
  HandshakeCheck* check = checkOf(ssl);
  X509* certificate = X509_STORE_CTX_get_current_cert(store);
  if (isGood == 1 && context->isRevoked(fingerprintOf(certificate))) {
    X509_STORE_CTX_set_error(store, X509_V_ERR_CERT_REVOKED);
    isGood = 0;
  }
  if (isGood != 1) {
    check->found = distrust(store);
    return 0;
  }
  if (X509_STORE_CTX_get_error_depth(store) == 0 && SSL_is_server(ssl) == 0 &&
      !isExpected(certificate, check->expectedNames)) {
    X509_STORE_CTX_set_error(store, X509_V_ERR_HOSTNAME_MISMATCH);
    check->found = wrongName(certificate, check->expectedNames);
    return 0;
  }
  return 1;
}

/// A client that offers no protocol at all never gets to chooseProtocol().
int checkHello(SSL* ssl, int* alert, void*) {
  const unsigned char* offered = nullptr;
  std::size_t length = 0;
  if (SSL_client_hello_get0_ext(ssl, TLSEXT_TYPE_application_layer_protocol_negotiation, &offered,
                                &length) == 1)
    return SSL_CLIENT_HELLO_SUCCESS;
  // One of an older TLS is told about that first.
  if (SSL_client_hello_get0_ext(ssl, TLSEXT_TYPE_supported_versions, &offered, &length) != 1)
    return SSL_CLIENT_HELLO_SUCCESS;
  checkOf(ssl)->found = Error{ErrorKind::kProtocol, "it offers no \"h2\" (ALPN): is it HTTP/2?"};
  *alert = SSL_AD_NO_APPLICATION_PROTOCOL;
  return SSL_CLIENT_HELLO_ERROR;
}

int chooseProtocol(SSL* ssl, const unsigned char** chosen, unsigned char* chosenLength,
                   const unsigned char* offered, unsigned int length, void*) {
  unsigned char* found = nullptr;
  if (SSL_select_next_proto(&found, chosenLength, kH2, sizeof kH2, offered, length) !=
      OPENSSL_NPN_NEGOTIATED) {
    checkOf(ssl)->found =
        Error{ErrorKind::kProtocol, "it does not offer \"h2\" (ALPN): is it HTTP/2?"};
    return SSL_TLSEXT_ERR_ALERT_FATAL;
  }
  *chosen = found;
  return SSL_TLSEXT_ERR_OK;
}

Error refuse(const std::string& file, const std::string& why) {
  return {ErrorKind::kUsage, file + ": " + why};
}

}  // namespace

bool OpenSslContext::restrict() {
  SSL_CTX* context = context_.get();
  SSL_CTX_set_security_level(context, kSecurityLevel);
  SSL_CTX_set_options(context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET |
                                   SSL_OP_CIPHER_SERVER_PREFERENCE);
  SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  // Without AUTO_RETRY a message that carries no data ends a call, so that a peer that sends
  // nothing else cannot keep a thread.
  SSL_CTX_clear_mode(context, SSL_MODE_AUTO_RETRY);
  SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                SSL_MODE_RELEASE_BUFFERS);
  SSL_CTX_set_read_ahead(context, 1);
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, verifyOne);
  SSL_CTX_set_verify_depth(context, kMostBetween);
  SSL_CTX_set_client_hello_cb(context, checkHello, nullptr);
  SSL_CTX_set_alpn_select_cb(context, chooseProtocol, nullptr);
  SSL_CTX_set_app_data(context, this);
  return SSL_CTX_set_min_proto_version(context, TLS1_3_VERSION) == 1 &&
         SSL_CTX_set_max_proto_version(context, TLS1_3_VERSION) == 1 &&
         SSL_CTX_set_ciphersuites(context, kCiphers) == 1 &&
         SSL_CTX_set_num_tickets(context, 0) == 1 &&
         SSL_CTX_set_alpn_protos(context, kH2, sizeof kH2) == 0;
}

std::optional<Error> OpenSslContext::fill(const TlsFiles& files, const std::vector<X509Ptr>& chain,
                                          EVP_PKEY* key, const std::vector<X509Ptr>& authorities) {
  ERR_clear_error();
  context_.reset(SSL_CTX_new(TLS_method()));
  if (context_ == nullptr || !restrict())
    return Error{ErrorKind::kSystem, "OpenSSL: " + openSslReason()};
  SSL_CTX* context = context_.get();
  if (SSL_CTX_use_certificate(context, chain.front().get()) != 1)
    return refuse(files.certificate, "cannot be used: " + openSslReason());
  for (std::size_t i = 1; i < chain.size(); ++i)
    if (SSL_CTX_add1_chain_cert(context, chain[i].get()) != 1)
      return refuse(files.certificate, "cannot be used: " + openSslReason());
  if (X509_check_private_key(chain.front().get(), key) != 1)
    return refuse(files.key, "is not the key of the certificate in " + files.certificate);
  if (SSL_CTX_use_PrivateKey(context, key) != 1)
    return refuse(files.key, "cannot be used: " + openSslReason());
  for (const X509Ptr& one : authorities)
    if (X509_STORE_add_cert(SSL_CTX_get_cert_store(context), one.get()) != 1 ||
        SSL_CTX_add_client_CA(context, one.get()) != 1)
      return refuse(files.authorities, "cannot be used: " + openSslReason());
  return std::nullopt;
}

SslPtr OpenSslContext::session(HandshakeCheck* check) const {
  SslPtr ssl(SSL_new(context_.get()));
  if (ssl != nullptr) SSL_set_app_data(ssl.get(), check);
  return ssl;
}

}  // namespace HOQ::tls
