#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "front/Admission.h"
#include "front/EventLoop.h"
#include "front/Identity.h"
#include "front/Setup.h"
#include "front/Tally.h"
#include "front/Workers.h"
#include "tls/Peer.h"
#include "tls/TlsPump.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// The clients' connections, from accept(2) until their end: counted, shaken hands with, told
/// apart, handed to their workers, closed when their certificate expires. Belongs to the loop's
/// thread.
class Connections {
 public:
  /// `pump` calls back until it is gone, so it must be gone before this; the others outlive this.
  Connections(EventLoop& loop, Workers& workers, Tally& tally)
      : loop_(loop), workers_(workers), tally_(tally) {}
  ~Connections();

  /// Before the first connection. Null when it is about to go.
  void setPump(tls::TlsPump* pump) { pump_ = pump; }

  /// What new connections are judged by from now on, and standing ones now: those whose entry
  /// changed, or whose certificate is revoked, or may not be trusted any more, are closed.
  void apply(SettingsPtr settings);

  /// Takes a fresh connection of a TCP or UNIX socket.
  void take(tls::UniqueFd socket, bool isUnix);

  /// Closes the connections that `worker` served: it is gone.
  void workerGone(Worker& worker);

  /// Takes none any more, and gives up those whose handshake is not finished.
  void stop();

  std::size_t count() const { return links_.size(); }
  std::size_t handshaking() const;

 private:
  using Id = std::uint64_t;

  struct Link {
    std::string host;     // counts against the limit per peer
    std::string address;  // for the log
    Identity identity;
    bool identified = false;
    SettingsPtr settings;                // that its handshake was made with
    const ClientEntry* entry = nullptr;  // of `settings`
    Worker::Id worker = 0;
    tls::ConnectionId pumped = 0;  // of a TLS connection
    EventLoop::Timer expiry = 0;   // when its certificate is good no more
    tls::UniqueFd kept;            // of a UNIX one: shows its end, and can end it
  };

  void takeTls(Id id, tls::UniqueFd socket);
  void takeUnix(Id id, tls::UniqueFd socket);
  void shookHands(Id id, tls::Result<tls::TlsConnection> result);
  bool handOver(Id id, tls::UniqueFd descriptor);
  bool isTrusted(const Link& link) const;
  void awaitExpiry(Id id);
  void close(Id id, const std::string& reason);
  void ended(Id id);
  void refuse(const char* reason, const std::string& address);

  EventLoop& loop_;
  Workers& workers_;
  Tally& tally_;
  tls::TlsPump* pump_ = nullptr;
  SettingsPtr settings_;
  Admission admission_;
  std::chrono::steady_clock::time_point nextRefusalTold_{};
  bool stopped_ = false;
  Id lastId_ = 0;
  std::map<Id, Link> links_;
};

}  // namespace HOQ::agent
