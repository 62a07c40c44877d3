#pragma once

#include <string>
#include <vector>

#include "tls/OpenSslHandles.h"
#include "tls/Peer.h"

namespace HOQ::tls {

/// SHA-256 of the whole certificate, 64 lower-case hex digits; empty where it cannot be told.
std::string fingerprintOf(const X509* certificate);

/// What the certificate says of its bearer. Names with a zero byte or a control character are left
/// out: they would be read otherwise than they were signed.
Peer describe(const X509* certificate);

/// Whether it bears `name`: an IP address among its IP names, an URI (with "://") among its URIs,
/// else a DNS name, whose first label may be "*". The common name is never looked at.
bool bears(X509* certificate, const std::string& name);

/// Its names in one line, for messages: "node-a, 192.0.2.1"; "nobody" without any.
std::string namesOf(const X509* certificate);

}  // namespace HOQ::tls
