#include "dial/TlsDialer.h"

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "tls/Address.h"
#include "tls/Sockets.h"
#include "tls/TlsContext.h"
#include "tls/TlsPump.h"

namespace HOQ::transport {
namespace {

constexpr std::chrono::seconds kConnectLimit{10};

Dialled failed(const tls::Error& error) {
  switch (error.kind) {
    case tls::ErrorKind::kUntrusted:
      return {-1, NodeFailure::kUntrusted, error.text};
    case tls::ErrorKind::kUsage:
      return {-1, NodeFailure::kRefused, error.text};
    default:
      return {-1, NodeFailure::kUnreachable, error.text};
  }
}

class TlsDialer : public Dialer {
 public:
  explicit TlsDialer(TlsDialerSettings settings) : settings_(std::move(settings)) {}

  Dialled dial(const std::string& address) override {
    const auto parsed = tls::Address::parse(address);
    if (!parsed) return failed(parsed.error());
    if (!parsed->isUnix()) {
      const tls::Error unready = prepare();
      if (!unready.text.empty()) return failed(unready);
    }
    auto socket = tls::connectTo(*parsed, kConnectLimit);
    if (!socket) return failed(socket.error());
    if (parsed->isUnix()) return {socket->release(), NodeFailure::kNone, ""};
    return shakeHands(std::move(*socket), parsed->host());
  }

 private:
  /// An empty text: pump and context are there.
  tls::Error prepare() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (pump_) return {};
    if (settings_.authorities.empty() || settings_.certificate.empty() || settings_.key.empty())
      return {tls::ErrorKind::kUsage,
              "--ca, --cert and --key are needed for it (hoq cert --help says how to make them)"};
    auto context =
        tls::TlsContext::load({settings_.authorities, settings_.certificate, settings_.key, ""});
    if (!context) return context.error();
    auto pump = tls::TlsPump::start({});
    if (!pump) return pump.error();
    context_ = *context;
    pump_ = std::move(*pump);
    return {};
  }

  Dialled shakeHands(tls::UniqueFd socket, const std::string& host) {
    auto outcome = std::make_shared<std::promise<Dialled>>();
    tls::TlsPump::ConnectOptions options;
    options.expectedNames = {host};
    pump_->connect(std::move(socket), context_, std::move(options),
                   [outcome](tls::Result<tls::TlsConnection> made) {
                     outcome->set_value(made
                                            ? Dialled{made->plain.release(), NodeFailure::kNone, ""}
                                            : failed(made.error()));
                   });
    return outcome->get_future().get();
  }

  const TlsDialerSettings settings_;
  std::mutex mutex_;  // guards the making of the two below, which then stay
  tls::TlsContextPtr context_;
  std::unique_ptr<tls::TlsPump> pump_;
};

}  // namespace
}  // namespace HOQ::transport

HOQ::transport::Dialer* hoqNewTlsDialer(const HOQ::transport::TlsDialerSettings* settings) {
  return new HOQ::transport::TlsDialer(*settings);
}
