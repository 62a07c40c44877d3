#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tls/Peer.h"
#include "tls/Result.h"
#include "tls/TlsContext.h"
#include "tls/UniqueFd.h"

namespace HOQ::tls {

/// Never given twice by one pump; 0 is none.
using ConnectionId = std::uint64_t;

/// A connection whose other side is known: what is written to `plain` reaches it, and what it
/// sends is read there.
///
/// `plain` is one end of a UNIX socket pair, non-blocking, closed on exec(3); it may be passed to
/// another process. Each side can end its direction (shutdown(2) with SHUT_WR here, close_notify
/// there) and go on reading. Closing `plain` ends the connection once what was written to it has
/// been sent. An end of data is read from it only after the other side's close_notify; when the
/// connection breaks instead, the pump drops its end whole: poll(2) shows POLLHUP, writing fails
/// (EPIPE), and reading fails (ECONNRESET) where something written was still unsent. A reader that
/// has sent everything sees an end of data in either case, as the system has no other way to tell
/// it; `Closed` tells the two apart, and so must whatever is framed inside.
struct TlsConnection {
  ConnectionId id = 0;
  UniqueFd plain;
  Peer peer;
};

/// Carries TLS connections between their sockets and plain descriptors, all on a few threads.
///
/// Each direction holds at most Options::bufferBytes for a connection whose taker has stopped, then
/// stops reading; an idle connection holds no buffer. Signals: SIGPIPE is never raised. Callbacks
/// run on the pump's threads: they must be short, must not throw, and may call accept(), connect(),
/// close() and counters(), but not destroy the pump. Functions: any thread.
class TlsPump {
 public:
  struct Options {
    int threads = 2;
    std::size_t bufferBytes = 128 * 1024;              ///< at least 16 KiB
    std::chrono::milliseconds handshakeLimit{10'000};  ///< up to Ready
    std::chrono::milliseconds lingerLimit{
        30'000};  ///< for the other side's end, or its taking something, once ours is gone
  };

  /// Called once for each accept() and connect(), unless close() or the pump's end came first: then
  /// with kClosed. May come before the call that it belongs to returns.
  using Ready = std::function<void(Result<TlsConnection>)>;

  /// Called once for each connection that was handed over, at its end. kClosed with an empty text:
  /// both sides ended in order. kClosed with a text: close() or the pump's end. Else what broke it.
  using Closed = std::function<void(ConnectionId, const Error&)>;

  struct ConnectOptions {
    /// The certificate must bear one of these: DNS names (its "*." stands for one label), IP
    /// addresses, URIs. Usually the host that was dialled. None: kUsage.
    std::vector<std::string> expectedNames;
    /// Be ready only when the other side has sent its first byte (HTTP/2 servers do so by
    /// themselves). In TLS 1.3 a client cannot know earlier that its certificate was accepted:
    /// without this, a refusal comes as the end of a connection that seemed to stand.
    bool awaitFirstByte = true;
    /// Instead of Options::handshakeLimit, when above 0.
    std::chrono::milliseconds limit{0};
  };

  struct Counters {
    std::uint64_t bytesReceived = 0;  ///< plain bytes from the other sides
    std::uint64_t bytesSent = 0;      ///< plain bytes to them
    std::uint64_t handshakes = 0;     ///< that succeeded, both sides
    std::map<ErrorKind, std::uint64_t> failed;
    std::size_t open = 0;         ///< handed over and not ended yet
    std::size_t handshaking = 0;  ///< not ready yet
  };

  /// Starts the threads. kSystem, kUsage.
  static Result<std::unique_ptr<TlsPump>> start(const Options& options);

  /// close()s every connection, joins the threads, and calls what Ready and Closed are still owed.
  virtual ~TlsPump() = default;

  /// The server's side on `socket`, which is connected.
  virtual ConnectionId accept(UniqueFd socket, TlsContextPtr context, Ready ready,
                              Closed closed = nullptr) = 0;

  /// The client's side on `socket`, which is connected.
  virtual ConnectionId connect(UniqueFd socket, TlsContextPtr context, ConnectOptions options,
                               Ready ready, Closed closed = nullptr) = 0;

  /// Breaks the connection off, both ways at once: nothing unsent is sent, the other side sees a
  /// connection that breaks. `reason` goes to Ready or Closed. An id that is not there: nothing.
  virtual void close(ConnectionId id, std::string reason) = 0;

  virtual Counters counters() const = 0;

 protected:
  TlsPump() = default;
};

}  // namespace HOQ::tls
