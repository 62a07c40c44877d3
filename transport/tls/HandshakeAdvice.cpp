#include "tls/HandshakeAdvice.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

namespace HOQ::tls {
namespace {

struct AlertRow {
  int reason;
  ErrorKind kind;
  const char* text;
};

constexpr AlertRow kAlerts[] = {
    // What the other side told us.
    {SSL_R_SSLV3_ALERT_BAD_CERTIFICATE, ErrorKind::kUntrusted,
     "it refused our certificate: is it made for this name, and in order?"},
    {SSL_R_SSLV3_ALERT_UNSUPPORTED_CERTIFICATE, ErrorKind::kUntrusted,
     "it refused our certificate: not made for this use"},
    {SSL_R_SSLV3_ALERT_CERTIFICATE_REVOKED, ErrorKind::kUntrusted,
     "it refused our certificate: revoked"},
    {SSL_R_SSLV3_ALERT_CERTIFICATE_EXPIRED, ErrorKind::kUntrusted,
     "it refused our certificate: expired, or not valid yet by its clock"},
    {SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN, ErrorKind::kUntrusted, "it refused our certificate"},
    {SSL_R_TLSV1_ALERT_UNKNOWN_CA, ErrorKind::kUntrusted,
     "it refused our certificate: from an authority that it does not trust; compare the ca files"},
    {SSL_R_TLSV1_ALERT_ACCESS_DENIED, ErrorKind::kUntrusted, "it refused us"},
    {SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED, ErrorKind::kUntrusted,
     "it wants a certificate of ours"},
    {SSL_R_TLSV1_ALERT_PROTOCOL_VERSION, ErrorKind::kProtocol, "it does not speak TLS 1.3"},
    {SSL_R_SSLV3_ALERT_HANDSHAKE_FAILURE, ErrorKind::kProtocol,
     "it found nothing that both sides speak"},
    {SSL_R_TLSV1_ALERT_NO_APPLICATION_PROTOCOL, ErrorKind::kProtocol,
     "it does not speak \"h2\" (ALPN)"},
    // What we found.
    {SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE, ErrorKind::kUntrusted, "it shows no certificate"},
    {SSL_R_UNSUPPORTED_PROTOCOL, ErrorKind::kProtocol, "it does not speak TLS 1.3"},
    {SSL_R_VERSION_TOO_LOW, ErrorKind::kProtocol, "it does not speak TLS 1.3"},
    {SSL_R_HTTP_REQUEST, ErrorKind::kProtocol, "it speaks plain HTTP, not TLS"},
    {SSL_R_HTTPS_PROXY_REQUEST, ErrorKind::kProtocol, "it takes us for a proxy"},
};

}  // namespace

Error adviceOn(unsigned long code, bool shaking) {
  const int reason = ERR_GET_REASON(code);
  if (ERR_GET_LIB(code) == ERR_LIB_SSL)
    for (const AlertRow& row : kAlerts)
      if (row.reason == reason) return {row.kind, row.text};
  const char* text = ERR_reason_error_string(code);
  const std::string said = text == nullptr ? "no reason given" : text;
  if (!shaking) return {ErrorKind::kLost, "the TLS stream is broken: " + said};
  return {ErrorKind::kProtocol,
          "the handshake failed: does it speak TLS 1.3 there? (" + said + ")"};
}

}  // namespace HOQ::tls
