#include "tls/TlsPump.h"

#include <algorithm>
#include <atomic>

#include "tls/PumpThread.h"

namespace HOQ::tls {
namespace {

constexpr int kMostThreads = 64;
constexpr unsigned kThreadBits = 8;  // of a connection's id: which thread has it
constexpr std::size_t kLeastBuffer = 16 * 1024;
constexpr std::size_t kMostBuffer = 16 * 1024 * 1024;

class EpollPump final : public TlsPump {
 public:
  explicit EpollPump(const Options& options) : options_(options) {}

  ~EpollPump() override {
    for (auto& thread : threads_) thread->stop();
    for (auto& thread : threads_) thread->join();
    // Callbacks of the last connections may have ordered something more.
    const auto refuse = [](auto& thread) { return thread->refuseOrders(); };
    while (std::any_of(threads_.begin(), threads_.end(), refuse)) continue;
  }

  std::optional<Error> start() {
    for (int i = 0; i < options_.threads; ++i) {
      threads_.push_back(std::make_unique<PumpThread>(options_, counters_));
      if (auto error = threads_.back()->start()) return error;
    }
    return std::nullopt;
  }

  ConnectionId accept(UniqueFd socket, TlsContextPtr context, Ready ready, Closed closed) override {
    return add({0,
                std::move(socket),
                std::move(context),
                TlsStream::Side::kServer,
                {},
                std::move(ready),
                std::move(closed)});
  }

  ConnectionId connect(UniqueFd socket, TlsContextPtr context, ConnectOptions options, Ready ready,
                       Closed closed) override {
    return add({0, std::move(socket), std::move(context), TlsStream::Side::kClient,
                std::move(options), std::move(ready), std::move(closed)});
  }

  void close(ConnectionId id, std::string reason) override {
    const std::size_t index = id & ((1u << kThreadBits) - 1);
    if (index < threads_.size()) threads_[index]->close(id, std::move(reason));
  }

  Counters counters() const override {
    Counters now;
    now.bytesReceived = counters_.bytesReceived.load(std::memory_order_relaxed);
    now.bytesSent = counters_.bytesSent.load(std::memory_order_relaxed);
    now.handshakes = counters_.handshakes.load(std::memory_order_relaxed);
    for (std::size_t i = 0; i < PumpCounters::kKinds; ++i)
      if (const auto count = counters_.failed[i].load(std::memory_order_relaxed); count > 0)
        now.failed[static_cast<ErrorKind>(i)] = count;
    now.open = counters_.open.load(std::memory_order_relaxed);
    now.handshaking = counters_.handshaking.load(std::memory_order_relaxed);
    return now;
  }

 private:
  ConnectionId add(PumpConnection::Start start) {
    const auto fewest = std::min_element(
        threads_.begin(), threads_.end(),
        [](const auto& one, const auto& other) { return one->load() < other->load(); });
    const auto index = static_cast<std::uint64_t>(fewest - threads_.begin());
    const ConnectionId id =
        lastNumber_.fetch_add(1, std::memory_order_relaxed) << kThreadBits | index;
    start.id = id;
    (*fewest)->add(std::move(start));
    return id;
  }

  const Options options_;
  PumpCounters counters_;
  std::atomic<std::uint64_t> lastNumber_{1};
  std::vector<std::unique_ptr<PumpThread>> threads_;
};

}  // namespace

Result<std::unique_ptr<TlsPump>> TlsPump::start(const Options& options) {
  if (options.threads < 1 || options.threads > kMostThreads)
    return Error{ErrorKind::kUsage, "a pump has 1 to 64 threads"};
  if (options.bufferBytes < kLeastBuffer || options.bufferBytes > kMostBuffer)
    return Error{ErrorKind::kUsage, "a pump's buffers have 16 KiB to 16 MiB"};
  auto pump = std::make_unique<EpollPump>(options);
  if (auto error = pump->start()) return *error;
  return std::unique_ptr<TlsPump>(std::move(pump));
}

}  // namespace HOQ::tls
