#include "front/Connections.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "agent/FakeStarter.h"
#include "transport/tls/support/Certificates.h"

namespace HOQ::agent {
namespace {

using test::Certificates;

/// Shakes hands when the test says so.
class FakePump : public tls::TlsPump {
 public:
  tls::ConnectionId accept(tls::UniqueFd, tls::TlsContextPtr, Ready ready, Closed) override {
    readies[++last] = std::move(ready);
    return last;
  }
  tls::ConnectionId connect(tls::UniqueFd, tls::TlsContextPtr, ConnectOptions, Ready,
                            Closed) override {
    return 0;
  }
  void close(tls::ConnectionId id, std::string reason) override { closed[id] = std::move(reason); }
  Counters counters() const override { return {}; }

  tls::ConnectionId last = 0;
  std::map<tls::ConnectionId, Ready> readies;
  std::map<tls::ConnectionId, std::string> closed;
};

class ConnectionsTest : public testing::Test {
 protected:
  ConnectionsTest()
      : workers_(loop_, starter_, tally_,
                 {[](Worker&, const Dial&) {}, [](const Worker&, const Audit&) {}, [](Worker&) {},
                  [] {}},
                 Workers::Times()),
        connections_(loop_, workers_, tally_) {
    const auto settings = settingsWith({entryNamed("admin")});
    settings->tls = certificates_.context("node", {{"node"}});
    settings_ = settings;
    connections_.setPump(&pump_);
    connections_.apply(settings_);
  }

  /// A connection whose client shows a certificate that is good until so many seconds from now.
  tls::ConnectionId connect(std::int64_t seconds) {
    connections_.take(descriptor(), false);
    tls::TlsConnection made;
    made.id = pump_.last;
    made.plain = descriptor();
    made.peer.dnsNames = {"admin"};
    made.peer.notAfter =
        std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) + seconds;
    pump_.readies.at(pump_.last)(std::move(made));
    return pump_.last;
  }

  static tls::UniqueFd descriptor() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const tls::UniqueFd other(ends[1]);
    return tls::UniqueFd(ends[0]);
  }

  /// Lets the loop do what is there to be done, timers that are due included.
  void turn() {
    for (int i = 0; i < 2; ++i) {
      loop_.after(std::chrono::milliseconds(0), [this] { loop_.stop(); });
      loop_.run();
    }
  }

  Certificates certificates_;
  SettingsPtr settings_;
  EventLoop loop_;
  FakeStarter starter_;
  Tally tally_;
  FakePump pump_;
  Workers workers_;
  Connections connections_;
};

TEST_F(ConnectionsTest, AConnectionEndsWithItsCertificate) {
  const auto standing = connect(3600);
  const auto expired = connect(-2);
  turn();
  EXPECT_EQ(connections_.count(), 1U);
  EXPECT_EQ(pump_.closed,
            (std::map<tls::ConnectionId, std::string>{{expired, "its certificate has expired"}}));
  EXPECT_EQ(starter_.started, std::vector<std::string>{"admin"}) << "it had been handed over";
  EXPECT_EQ(pump_.closed.count(standing), 0U);
}

TEST_F(ConnectionsTest, OneThatEndedBeforeIsNotClosedOnceMore) {
  (void)connect(-2);
  loop_.post([this] { connections_.apply(settingsWith({})); });  // trusts nobody
  turn();
  EXPECT_EQ(connections_.count(), 0U);
  ASSERT_EQ(pump_.closed.size(), 1U);
  EXPECT_NE(pump_.closed.begin()->second, "its certificate has expired");
}

}  // namespace
}  // namespace HOQ::agent
