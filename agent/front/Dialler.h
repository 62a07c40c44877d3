#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config/Configuration.h"
#include "control/Message.h"
#include "front/EventLoop.h"
#include "tls/TlsContext.h"
#include "tls/TlsPump.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// Connects to other nodes as this one: looks the host up, connects, shakes hands, and checks that
/// the certificate bears the name that was dialled. What blocks is done by a few threads of its
/// own.
class Dialler {
 public:
  struct Dialled {
    DialOutcome outcome = DialOutcome::Unreachable;
    std::string text;          // why not
    tls::UniqueFd descriptor;  // the plain side, when connected
  };
  using Done = std::function<void(Dialled)>;

  /// Both outlive this; so does whatever `done` touches.
  Dialler(EventLoop& loop, tls::TlsPump& pump);

  /// Returns without waiting for threads that hang in a look-up: nothing of theirs is used then.
  ~Dialler();
  Dialler(const Dialler&) = delete;
  Dialler& operator=(const Dialler&) = delete;

  /// Calls `done` in the loop, later and once, unless this is gone by then. Where there are `peers`
  /// the address must fit one of them whose name the certificate bears, too. Empty `context`, or a
  /// UNIX socket's address, whose other end would take the caller for this process: refused. The
  /// loop's thread.
  void dial(const std::string& address, tls::TlsContextPtr context,
            const std::vector<PeerEntry>& peers, Done done);

 private:
  struct Shared;

  const std::shared_ptr<Shared> shared_;
};

}  // namespace HOQ::agent
