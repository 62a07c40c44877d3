#include "transport/tls/support/PumpHarness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "tls/Sockets.h"

namespace HOQ::test {
namespace {

/// The callbacks of one connection, and what they bring.
struct Callbacks {
  std::promise<tls::Result<tls::TlsConnection>> ready;
  std::promise<tls::Error> closed;
};

std::pair<tls::TlsPump::Ready, tls::TlsPump::Closed> callbacksOf(
    const std::shared_ptr<Callbacks>& callbacks) {
  return {[callbacks](tls::Result<tls::TlsConnection> result) {
            callbacks->ready.set_value(std::move(result));
          },
          [callbacks](tls::ConnectionId, const tls::Error& error) {
            callbacks->closed.set_value(error);
          }};
}

}  // namespace

Watched accept(tls::TlsPump& pump, tls::UniqueFd socket, tls::TlsContextPtr context) {
  auto callbacks = std::make_shared<Callbacks>();
  Watched watched{0, callbacks->ready.get_future(), callbacks->closed.get_future()};
  auto [ready, closed] = callbacksOf(callbacks);
  watched.id = pump.accept(std::move(socket), std::move(context), ready, closed);
  return watched;
}

Watched connect(tls::TlsPump& pump, tls::UniqueFd socket, tls::TlsContextPtr context,
                tls::TlsPump::ConnectOptions options) {
  auto callbacks = std::make_shared<Callbacks>();
  Watched watched{0, callbacks->ready.get_future(), callbacks->closed.get_future()};
  auto [ready, closed] = callbacksOf(callbacks);
  watched.id =
      pump.connect(std::move(socket), std::move(context), std::move(options), ready, closed);
  return watched;
}

std::unique_ptr<tls::TlsPump> makePump(const tls::TlsPump::Options& options) {
  auto pump = tls::TlsPump::start(options);
  if (!pump) throw std::runtime_error(pump.error().text);
  return std::move(*pump);
}

std::pair<tls::UniqueFd, tls::UniqueFd> tcpPair() {
  auto listeners = tls::listenOn(tls::Address::ofHost("127.0.0.1", 0));
  if (!listeners) throw std::runtime_error(listeners.error().text);
  tls::Listener& listener = listeners->front();
  auto connected = tls::connectTo(listener.address(), kForEver);
  if (!connected) throw std::runtime_error(connected.error().text);
  waitFor(listener.fd(), POLLIN);
  auto accepted = tls::acceptFrom(listener);
  if (!accepted || !*accepted) throw std::runtime_error("nobody to accept");
  return {std::move(*connected), std::move(*accepted)};
}

PumpHarness::PumpHarness(const tls::TlsPump::Options& options)
    : serverContext(certificates.context("server", {{"server.test", "127.0.0.1"}})),
      clientContext(certificates.context("client", {{"client.test"}})),
      server(makePump(options)),
      client(makePump(options)) {}

std::optional<std::pair<End, End>> PumpHarness::connection() {
  auto [near, far] = tcpPair();
  Watched accepted = accept(*server, std::move(far), serverContext);
  Watched connected = connect(*client, std::move(near), clientContext, toServer());
  auto clientSide = arrived(connected.ready);
  auto serverSide = arrived(accepted.ready);
  if (!clientSide || !serverSide) return std::nullopt;
  for (const auto* side : {&*clientSide, &*serverSide})
    if (!*side) {
      ADD_FAILURE() << side->error().text;
      return std::nullopt;
    }
  makeBlocking((*clientSide)->plain.get());
  makeBlocking((*serverSide)->plain.get());
  return std::pair{End{std::move(**clientSide), std::move(connected.closed)},
                   End{std::move(**serverSide), std::move(accepted.closed)}};
}

tls::TlsPump::ConnectOptions toServer() {
  tls::TlsPump::ConnectOptions options;
  options.expectedNames = {"server.test"};
  options.awaitFirstByte = false;
  return options;
}

void makeBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK); }

bool writeAll(int fd, const void* bytes, std::size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t sent = ::send(fd, next, count, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    next += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool writeAll(int fd, const std::string& text) { return writeAll(fd, text.data(), text.size()); }

std::string readBytes(int fd, std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t filled = 0;
  while (filled < count) {
    const ssize_t got = ::recv(fd, bytes.data() + filled, count - filled, 0);
    if (got <= 0) break;
    filled += static_cast<std::size_t>(got);
  }
  bytes.resize(filled);
  return bytes;
}

std::optional<std::string> readToEnd(int fd) {
  std::string all;
  char piece[64 * 1024];
  for (;;) {
    const ssize_t got = ::recv(fd, piece, sizeof piece, 0);
    if (got < 0) return std::nullopt;
    if (got == 0) return all;
    all.append(piece, static_cast<std::size_t>(got));
  }
}

short waitFor(int fd, short events) {
  pollfd wait{fd, events, 0};
  if (::poll(&wait, 1, std::chrono::milliseconds(kForEver).count()) != 1)
    ADD_FAILURE() << "nothing came";
  return wait.revents;
}

}  // namespace HOQ::test
