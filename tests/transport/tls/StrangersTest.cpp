#include <gtest/gtest.h>
#include <sys/socket.h>

#include <thread>

#include "transport/tls/support/PumpHarness.h"
#include "transport/tls/support/RawTls.h"

namespace HOQ::tls {
namespace {

using test::accept;
using test::arrived;
using test::connect;
using test::PumpHarness;
using test::RawTls;
using test::RawTlsCase;

constexpr std::chrono::milliseconds kSoon{50};

struct RawRow {
  const char* name;
  int version;
  std::string alpn;
  bool showsCertificate;
  ErrorKind kind;
  const char* says;
};

const RawRow kRawClients[] = {
    {"TLS 1.2", TLS1_2_VERSION, "\x02h2", true, ErrorKind::kProtocol, "does not speak TLS 1.3"},
    {"TLS 1.2 without ALPN", TLS1_2_VERSION, "", true, ErrorKind::kProtocol,
     "does not speak TLS 1.3"},
    {"no ALPN", TLS1_3_VERSION, "", true, ErrorKind::kProtocol, "no \"h2\" (ALPN)"},
    {"another protocol", TLS1_3_VERSION, "\x08http/1.1", true, ErrorKind::kProtocol,
     "does not offer \"h2\" (ALPN)"},
    {"no certificate", TLS1_3_VERSION, "\x02h2", false, ErrorKind::kUntrusted,
     "it shows no certificate"},
};

TEST(Strangers, ClientsThatSpeakOtherwiseAreRefused) {
  PumpHarness harness;
  const TlsFiles files = harness.certificates.issue("raw", {{"raw"}});
  for (const RawRow& row : kRawClients) {
    SCOPED_TRACE(row.name);
    auto [near, far] = test::tcpPair();
    auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
    TlsFiles shown = files;
    if (!row.showsCertificate) shown.certificate.clear();
    RawTls client({shown, row.version, row.alpn, false}, std::move(near));
    if (client.shake()) {
      EXPECT_EQ(client.read(1), "") << "nothing is served";
    }
    const auto outcome = arrived(accepted.ready);
    ASSERT_FALSE(*outcome);
    EXPECT_EQ(outcome->error().kind, row.kind);
    EXPECT_NE(outcome->error().text.find(row.says), std::string::npos) << outcome->error().text;
  }
}

const RawRow kRawServers[] = {
    {"TLS 1.2", TLS1_2_VERSION, "\x02h2", true, ErrorKind::kProtocol, "does not speak TLS 1.3"},
    {"no ALPN", TLS1_3_VERSION, "", true, ErrorKind::kProtocol, "does not speak \"h2\""},
};

TEST(Strangers, ServersThatSpeakOtherwiseAreRefused) {
  PumpHarness harness;
  const TlsFiles files = harness.certificates.issue("raw", {{"server.test"}});
  for (const RawRow& row : kRawServers) {
    SCOPED_TRACE(row.name);
    auto [near, far] = test::tcpPair();
    auto connected =
        connect(*harness.client, std::move(near), harness.clientContext, test::toServer());
    RawTls server({files, row.version, row.alpn, true}, std::move(far));
    server.shake();
    const auto outcome = arrived(connected.ready);
    ASSERT_FALSE(*outcome);
    EXPECT_EQ(outcome->error().kind, row.kind);
    EXPECT_NE(outcome->error().text.find(row.says), std::string::npos) << outcome->error().text;
  }
}

TEST(Strangers, AnOrdinaryTlsClientWithACertificateJustWorks) {
  PumpHarness harness;
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  RawTls client({harness.certificates.issue("raw", {{"raw"}})}, std::move(near));
  ASSERT_TRUE(client.shake());
  auto outcome = arrived(accepted.ready);
  ASSERT_TRUE(*outcome);
  test::makeBlocking((*outcome)->plain.get());
  ASSERT_TRUE(client.write("ping"));
  EXPECT_EQ(test::readBytes((*outcome)->plain.get(), 4), "ping");
  ASSERT_TRUE(test::writeAll((*outcome)->plain.get(), "pong"));
  EXPECT_EQ(client.read(4), "pong");
  (*outcome)->plain.reset();
  EXPECT_EQ(client.read(1), "");
  EXPECT_TRUE(client.sawEnd()) << "close_notify comes before the connection closes";
}

struct BytesRow {
  const char* name;
  std::string bytes;
  ErrorKind kind;
};

TEST(Strangers, BytesThatAreNoGreetingAreRefusedAtOnce) {
  std::string noise;
  for (int i = 0; i < 4096; ++i) noise += static_cast<char>((i * 7919 + 13) % 251);
  const BytesRow kRows[] = {
      {"plain HTTP", "GET / HTTP/1.1\r\nHost: node\r\n\r\n", ErrorKind::kProtocol},
      {"plain HTTP/2", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", ErrorKind::kProtocol},
      {"noise", noise, ErrorKind::kProtocol},
      {"zeros", std::string(4096, '\0'), ErrorKind::kProtocol},
      {"a record that is too long", std::string("\x16\x03\x01\xff\xff", 5) + noise,
       ErrorKind::kProtocol},
  };
  PumpHarness harness;
  for (const BytesRow& row : kRows) {
    SCOPED_TRACE(row.name);
    auto [near, far] = test::tcpPair();
    auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
    ASSERT_TRUE(test::writeAll(near.get(), row.bytes));
    const auto outcome = arrived(accepted.ready);
    ASSERT_FALSE(*outcome);
    EXPECT_EQ(outcome->error().kind, row.kind) << outcome->error().text;
    EXPECT_EQ(outcome->error().text.find('\n'), std::string::npos);
  }
}

TEST(Strangers, AGreetingThatIsCutShortIsALostConnection) {
  PumpHarness harness;
  for (const std::size_t length : {0u, 1u, 4u, 5u, 40u}) {
    SCOPED_TRACE(length);
    auto [near, far] = test::tcpPair();
    auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
    const std::string greeting("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11);
    ASSERT_TRUE(test::writeAll(near.get(), (greeting + std::string(40, 'x')).substr(0, length)));
    near.reset();
    const auto outcome = arrived(accepted.ready);
    ASSERT_FALSE(*outcome);
    EXPECT_EQ(outcome->error().kind, ErrorKind::kLost) << outcome->error().text;
  }
}

TEST(Strangers, ASilentClientIsGivenUpWhenItsTimeIsOver) {
  TlsPump::Options options;
  options.handshakeLimit = kSoon;
  PumpHarness harness(options);
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  const auto outcome = arrived(accepted.ready);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kTimedOut);
  EXPECT_NE(outcome->error().text.find("the handshake took too long"), std::string::npos);
  EXPECT_EQ(test::readToEnd(near.get()), std::nullopt) << "it is reset";
}

TEST(Strangers, AClientThatSendsAByteNowAndThenIsGivenUpAsWell) {
  TlsPump::Options options;
  options.handshakeLimit = kSoon;
  PumpHarness harness(options);
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  // As long as it stands, one byte after the other of a record that claims 512.
  ASSERT_TRUE(test::writeAll(near.get(), std::string("\x16\x03\x01\x02\x00", 5)));
  int sent = 0;
  while (accepted.ready.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready &&
         ++sent < 500)
    (void)::send(near.get(), "x", 1, MSG_NOSIGNAL);
  const auto outcome = arrived(accepted.ready);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kTimedOut);
}

TEST(Strangers, AServerThatShakesHandsAndSaysNothingIsGivenUp) {
  PumpHarness harness;
  auto [near, far] = test::tcpPair();
  auto connected = connect(*harness.client, std::move(near), harness.clientContext,
                           {{"server.test"}, true, kSoon * 10});
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  const auto outcome = arrived(connected.ready);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kTimedOut) << outcome->error().text;
}

}  // namespace
}  // namespace HOQ::tls
