#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "config/Configuration.h"
#include "tls/Peer.h"

namespace HOQ::agent {

/// Who is at the other end: a certificate's bearer, or a user of this machine on a UNIX socket.
struct Identity {
  tls::Peer certificate;     // of a TLS connection
  std::optional<uid_t> uid;  // of a UNIX peer; then there is no certificate

  /// What logs call it where no entry names it.
  std::string text() const;
};

/// The first entry that names `identity`; null if none does. Entries "uid:N" name UNIX peers and
/// nobody else, whatever a certificate says.
const ClientEntry* entryOf(const std::vector<ClientEntry>& entries, const Identity& identity);

}  // namespace HOQ::agent
