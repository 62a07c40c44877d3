// How many bytes a second two pumps carry over the loopback, and how long a call takes more.
// Usage: tls_throughput CA.pem CERT.pem CERT.key [MEGABYTES [CONNECTIONS [THREADS [BUFFER_KIB]]]]
// The certificate is shown by both sides and must be for 127.0.0.1.

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tls/Sockets.h"
#include "tls/TlsContext.h"
#include "tls/TlsPump.h"

namespace {

using namespace HOQ::tls;
using Clock = std::chrono::steady_clock;

template <class T>
T must(Result<T> result) {
  if (!result) throw std::runtime_error(result.error().text);
  return std::move(*result);
}

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Ends {
  TlsConnection client;
  TlsConnection server;
};

void makeBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK); }

Ends connectOne(TlsPump& client, TlsPump& server, const TlsContextPtr& context) {
  const auto listeners = must(listenOn(Address::ofHost("127.0.0.1", 0)));
  UniqueFd near = must(connectTo(listeners[0].address(), std::chrono::seconds(10)));
  pollfd wait{listeners[0].fd(), POLLIN, 0};
  ::poll(&wait, 1, -1);
  std::promise<Result<TlsConnection>> clientReady;
  std::promise<Result<TlsConnection>> serverReady;
  server.accept(must(acceptFrom(listeners[0])), context,
                [&](auto result) { serverReady.set_value(std::move(result)); });
  client.connect(std::move(near), context, {{"127.0.0.1"}, false, {}},
                 [&](auto result) { clientReady.set_value(std::move(result)); });
  Ends ends{must(clientReady.get_future().get()), must(serverReady.get_future().get())};
  makeBlocking(ends.client.plain.get());
  makeBlocking(ends.server.plain.get());
  return ends;
}

void sendAll(int fd, std::size_t count) {
  static const std::vector<char> kPiece(256 * 1024, 'x');
  while (count > 0) {
    const ssize_t sent = ::send(fd, kPiece.data(), std::min(count, kPiece.size()), MSG_NOSIGNAL);
    if (sent <= 0) throw std::runtime_error("the connection broke");
    count -= static_cast<std::size_t>(sent);
  }
}

void receiveAll(int fd, std::size_t count) {
  std::vector<char> piece(256 * 1024);
  while (count > 0) {
    const ssize_t got = ::recv(fd, piece.data(), std::min(count, piece.size()), 0);
    if (got <= 0) throw std::runtime_error("the connection broke");
    count -= static_cast<std::size_t>(got);
  }
}

void measureBytes(std::vector<Ends>& all, std::size_t bytes) {
  const auto start = Clock::now();
  std::vector<std::thread> threads;
  for (Ends& ends : all) {
    threads.emplace_back([&ends, bytes] { sendAll(ends.client.plain.get(), bytes); });
    threads.emplace_back([&ends, bytes] { receiveAll(ends.server.plain.get(), bytes); });
  }
  for (std::thread& thread : threads) thread.join();
  const double seconds = secondsSince(start);
  std::printf("%zu connections, one way: %.0f MB/s in total\n", all.size(),
              static_cast<double>(bytes * all.size()) / seconds / 1e6);
}

void measureCalls(Ends& ends) {
  constexpr int kCalls = 20'000;
  const int near = ends.client.plain.get();
  const int far = ends.server.plain.get();
  std::thread echo([far] {
    for (int i = 0; i < kCalls; ++i) {
      receiveAll(far, 64);
      sendAll(far, 64);
    }
  });
  std::vector<double> each;
  for (int i = 0; i < kCalls; ++i) {
    const auto start = Clock::now();
    sendAll(near, 64);
    receiveAll(near, 64);
    each.push_back(secondsSince(start) * 1e6);
  }
  echo.join();
  std::sort(each.begin(), each.end());
  std::printf("64 bytes there and back: median %.1f us, p99 %.1f us\n", each[kCalls / 2],
              each[kCalls * 99 / 100]);
}

void measureHandshakes(TlsPump& client, TlsPump& server, const TlsContextPtr& context) {
  constexpr int kHandshakes = 300;
  const auto start = Clock::now();
  for (int i = 0; i < kHandshakes; ++i) connectOne(client, server, context);
  std::printf("handshakes, one after the other: %.0f a second\n",
              kHandshakes / secondsSince(start));
}

int argument(int argc, char** argv, int index, int usual) {
  return argc > index ? std::atoi(argv[index]) : usual;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 4) {
    std::fprintf(stderr,
                 "usage: %s CA.pem CERT.pem CERT.key [MEGABYTES [CONNECTIONS [THREADS "
                 "[BUFFER_KIB]]]]\n",
                 argv[0]);
    return 2;
  }
  const auto context = must(TlsContext::load({argv[1], argv[2], argv[3], ""}));
  const auto bytes = static_cast<std::size_t>(argument(argc, argv, 4, 2000)) * 1'000'000;
  TlsPump::Options options;
  options.threads = argument(argc, argv, 6, 2);
  options.bufferBytes = static_cast<std::size_t>(argument(argc, argv, 7, 128)) * 1024;
  const auto client = must(TlsPump::start(options));
  const auto server = must(TlsPump::start(options));
  std::vector<Ends> all;
  for (int i = argument(argc, argv, 5, 1); i > 0; --i)
    all.push_back(connectOne(*client, *server, context));
  measureCalls(all.front());
  measureBytes(all, bytes / all.size());
  measureHandshakes(*client, *server, context);
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  std::printf("most memory: %.1f MB; processor: %.2f s user, %.2f s system\n",
              static_cast<double>(used.ru_maxrss) / 1e3,
              static_cast<double>(used.ru_utime.tv_sec) + used.ru_utime.tv_usec / 1e6,
              static_cast<double>(used.ru_stime.tv_sec) + used.ru_stime.tv_usec / 1e6);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
