#pragma once

#include <string>

#include <hoq/HOQExport.h>

#include "NodeClient.h"

namespace HOQ::transport {

/// PEM files; all empty where only UNIX sockets are dialled.
struct TlsDialerSettings {
  std::string authorities;  // that a node's certificate must come from
  std::string certificate;  // shown to nodes
  std::string key;          // of our certificate
};

/// The entry point for processes that load this library when they need it: dlsym() of
/// kNewTlsDialer. It makes a Dialer that connects from this process: over TCP with mutual TLS,
/// where the certificate must bear the name that is dialled, or to a UNIX socket. The files are
/// read at the first connection that needs them, once. The caller deletes it.
using NewTlsDialer = Dialer* (*)(const TlsDialerSettings* settings);
constexpr char kNewTlsDialer[] = "hoqNewTlsDialer";

}  // namespace HOQ::transport

extern "C" {
HOQ_EXPORT HOQ::transport::Dialer* hoqNewTlsDialer(
    const HOQ::transport::TlsDialerSettings* settings);
}
