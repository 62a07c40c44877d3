#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tls/TlsPump.h"
#include "transport/tls/support/Certificates.h"

namespace HOQ::test {

/// So long a wait means that what is waited for never comes.
constexpr std::chrono::seconds kForEver{120};

/// What a future brings; nothing, and a failed test, where it does not come.
template <class T>
std::optional<T> arrived(std::future<T>& future) {
  if (future.wait_for(kForEver) == std::future_status::ready) return future.get();
  ADD_FAILURE() << "nothing came";
  return std::nullopt;
}

/// What a connection's callbacks say.
struct Watched {
  tls::ConnectionId id = 0;
  std::future<tls::Result<tls::TlsConnection>> ready;
  std::future<tls::Error> closed;
};

Watched accept(tls::TlsPump& pump, tls::UniqueFd socket, tls::TlsContextPtr context);
Watched connect(tls::TlsPump& pump, tls::UniqueFd socket, tls::TlsContextPtr context,
                tls::TlsPump::ConnectOptions options);

/// A pump that stands, or an exception.
std::unique_ptr<tls::TlsPump> makePump(const tls::TlsPump::Options& options = {});

/// Two ends of a TCP connection over the loopback: the one that connected, and the one accepted.
std::pair<tls::UniqueFd, tls::UniqueFd> tcpPair();

/// One end of a connection that stands.
struct End {
  tls::TlsConnection connection;
  std::future<tls::Error> closed;

  int fd() const { return connection.plain.get(); }
};

/// Two pumps, an authority, and a certificate for each side.
class PumpHarness {
 public:
  explicit PumpHarness(const tls::TlsPump::Options& options = {});

  /// A connection from `client` to `server`, its plain ends blocking. Nothing: the test failed.
  std::optional<std::pair<End, End>> connection();

  Certificates certificates;
  tls::TlsContextPtr serverContext;  ///< for "server.test" and 127.0.0.1
  tls::TlsContextPtr clientContext;  ///< for "client.test"
  std::unique_ptr<tls::TlsPump> server;
  std::unique_ptr<tls::TlsPump> client;
};

/// Names the server of the harness, and does not wait for its first byte.
tls::TlsPump::ConnectOptions toServer();

void makeBlocking(int fd);
/// Writes all of it; false: it cannot be.
bool writeAll(int fd, const void* bytes, std::size_t count);
bool writeAll(int fd, const std::string& text);
/// Reads `count` bytes, fewer at the end.
std::string readBytes(int fd, std::size_t count);
/// Reads to the end of data; nothing where reading fails.
std::optional<std::string> readToEnd(int fd);
/// Waits until one of `events` stands, or the socket is broken; what stands.
short waitFor(int fd, short events);

}  // namespace HOQ::test
