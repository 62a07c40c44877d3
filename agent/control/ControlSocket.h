#pragma once

#include <string>
#include <utility>

#include "control/Message.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// One end of the socket between front and worker (SOCK_SEQPACKET, close on exec). Sending and
/// receiving may go on in two threads, each in one at a time.
class ControlSocket {
 public:
  /// `fd` is one of pair()'s, perhaps inherited. `peer` sends what is received here.
  ControlSocket(tls::UniqueFd fd, Sender peer) : fd_(std::move(fd)), peer_(peer) {}

  /// Two connected ends; both empty, with errno set, when the system has none.
  static std::pair<tls::UniqueFd, tls::UniqueFd> pair();

  int fd() const { return fd_.get(); }

  enum class Outcome { Done, WouldBlock, Closed, Broken };

  /// Hands `message` over, and a copy of `descriptor` with it where the message's kind says so;
  /// the caller keeps and closes its own. Closed: the other end is gone. WouldBlock only when the
  /// descriptor does not block.
  Outcome send(const Message& message, int descriptor = -1);

  /// Ends this side's direction: the other receives Closed after what was sent.
  void finish();

  struct Received {
    Outcome outcome = Outcome::Broken;
    Message message;
    tls::UniqueFd descriptor;
    std::string error;  // for Broken: what the other side did
  };

  /// Takes the next message. Whatever is not in order, descriptors included, is Broken, and leaves
  /// no descriptor behind.
  Received receive();

 private:
  tls::UniqueFd fd_;
  const Sender peer_;
};

}  // namespace HOQ::agent
