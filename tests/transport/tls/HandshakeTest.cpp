#include <gtest/gtest.h>

#include <functional>

#include "tls/Certificate.h"
#include "tls/PemFile.h"
#include "transport/tls/support/PumpHarness.h"

namespace HOQ::tls {
namespace {

using test::accept;
using test::arrived;
using test::CertificateCase;
using test::Certificates;
using test::connect;
using test::days;
using test::kForEver;
using test::PumpHarness;

/// What became of a handshake on both sides.
struct Outcome {
  Result<TlsConnection> client;
  Result<TlsConnection> server;
};

/// The client waits for the server's first byte, which a server that stands sends.
Outcome shake(const TlsContextPtr& server, const TlsContextPtr& client,
              const std::vector<std::string>& expected) {
  const auto pump = test::makePump();
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*pump, std::move(far), server);
  auto connected = connect(*pump, std::move(near), client, {expected, true, kForEver});
  auto serverSide = arrived(accepted.ready);
  if (*serverSide) test::writeAll((*serverSide)->plain.get(), "!");
  auto clientSide = arrived(connected.ready);
  return {std::move(*clientSide), std::move(*serverSide)};
}

struct Row {
  const char* name;
  CertificateCase server;
  CertificateCase client;
  std::vector<std::string> expected;
  // Empty: it succeeds. Else what each side says.
  std::string clientSays;
  std::string serverSays;
};

const CertificateCase kServer{{"server.test", "127.0.0.1", "::1", "hoq://server"}};
const CertificateCase kClient{{"client.test"}};
const CertificateCase kServerRsa{{"server.test"}, days(-1, 9), cert::KeyKind::kRsa2048};
const CertificateCase kClientRsa{{"client.test"}, days(-1, 9), cert::KeyKind::kRsa2048};
const CertificateCase kServerOnly{{"server.test"}, days(-1, 9), cert::KeyKind::kP256, true, false};
const CertificateCase kClientOnly{{"client.test"}, days(-1, 9), cert::KeyKind::kP256, false, true};

const Row kRows[] = {
    {"both in order", kServer, kClient, {"server.test"}, "", ""},
    {"the name in other case", kServer, kClient, {"SERVER.Test"}, "", ""},
    {"dialled by its IPv4 address", kServer, kClient, {"127.0.0.1"}, "", ""},
    {"dialled by its IPv6 address", kServer, kClient, {"::1"}, "", ""},
    {"expected by its URI", kServer, kClient, {"hoq://server"}, "", ""},
    {"one of the expected names", kServer, kClient, {"other.test", "server.test"}, "", ""},
    {"RSA at the server", kServerRsa, kClient, {"server.test"}, "", ""},
    {"RSA at the client", kServer, kClientRsa, {"server.test"}, "", ""},
    {"made for the one use each", kServerOnly, kClientOnly, {"server.test"}, "", ""},
    {"another name",
     kServer,
     kClient,
     {"node.test"},
     "its certificate is for server.test, hoq://server, 127.0.0.1, ::1, not for node.test: check "
     "the address, or issue one for that name",
     "it refused our certificate"},
    {"another address",
     kServer,
     kClient,
     {"127.0.0.2"},
     "not for 127.0.0.2",
     "it refused our certificate"},
    {"a client's certificate at the server",
     kClientOnly,
     kClient,
     {"client.test"},
     "its certificate (client.test) is not made for this use",
     "it refused our certificate"},
    {"a server's certificate at the client",
     kServer,
     kServerOnly,
     {"server.test"},
     "it refused our certificate: not made for this use",
     "its certificate (server.test) is not made for this use"},
};

TEST(Handshake, SucceedsOnlyWhereBothSidesAreSatisfied) {
  Certificates authority;
  int number = 0;
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    ++number;
    const auto server = authority.context("s" + std::to_string(number), row.server);
    const auto client = authority.context("c" + std::to_string(number), row.client);
    const Outcome outcome = shake(server, client, row.expected);
    if (row.clientSays.empty()) {
      ASSERT_TRUE(outcome.client) << outcome.client.error().text;
      ASSERT_TRUE(outcome.server) << outcome.server.error().text;
      EXPECT_EQ(outcome.client->peer.fingerprint, server->own().fingerprint);
      EXPECT_EQ(outcome.server->peer.dnsNames, client->own().dnsNames);
      continue;
    }
    ASSERT_FALSE(outcome.client);
    ASSERT_FALSE(outcome.server);
    EXPECT_EQ(outcome.client.error().kind, ErrorKind::kUntrusted);
    EXPECT_EQ(outcome.server.error().kind, ErrorKind::kUntrusted);
    EXPECT_NE(outcome.client.error().text.find(row.clientSays), std::string::npos)
        << outcome.client.error().text;
    EXPECT_NE(outcome.server.error().text.find(row.serverSays), std::string::npos)
        << outcome.server.error().text;
    EXPECT_EQ(outcome.server.error().text.rfind("127.0.0.1:", 0), 0u) << "says who it was";
  }
}

TEST(Handshake, ACertificateOfAnotherAuthorityIsRefusedOnEitherSide) {
  Certificates ours;
  Certificates theirs;
  const auto good = ours.context("good", kServer);
  TlsFiles foreign = theirs.issue("foreign", kServer);
  foreign.authorities = ours.authorityFile();  // it trusts us, and not we it
  const auto stranger = test::load(foreign);

  const Outcome client = shake(good, stranger, {"server.test"});
  ASSERT_FALSE(client.server);
  EXPECT_EQ(client.server.error().kind, ErrorKind::kUntrusted);
  EXPECT_NE(client.server.error().text.find("does not come from an authority that we trust"),
            std::string::npos);
  ASSERT_FALSE(client.client) << "the client is told, though its own handshake had ended";
  EXPECT_EQ(client.client.error().kind, ErrorKind::kUntrusted);
  EXPECT_NE(client.client.error().text.find("an authority that it does not trust"),
            std::string::npos);

  const Outcome server = shake(stranger, good, {"server.test"});
  ASSERT_FALSE(server.client);
  EXPECT_EQ(server.client.error().kind, ErrorKind::kUntrusted);
  EXPECT_NE(server.client.error().text.find("does not come from an authority that we trust"),
            std::string::npos);
  EXPECT_FALSE(server.server);
}

TEST(Handshake, ARevokedCertificateIsRefusedOnEitherSide) {
  Certificates authority;
  const auto gone = authority.context("gone", kServer);
  TlsFiles careful = authority.issue("careful", kServer);
  careful.revoked = authority.write("revoked.txt", gone->own().fingerprint + "\n");
  const auto wary = test::load(careful);
  const std::string says = "is revoked (" + gone->own().fingerprint + ")";

  const Outcome client = shake(wary, gone, {"server.test"});
  ASSERT_FALSE(client.server);
  EXPECT_NE(client.server.error().text.find(says), std::string::npos);
  ASSERT_FALSE(client.client);
  EXPECT_NE(client.client.error().text.find("it refused our certificate: revoked"),
            std::string::npos);

  const Outcome server = shake(gone, wary, {"server.test"});
  ASSERT_FALSE(server.client);
  EXPECT_NE(server.client.error().text.find(says), std::string::npos);
}

TEST(Handshake, ARevokedAuthorityTakesItsCertificatesWithIt) {
  Certificates authority;
  const auto authorityFingerprint =
      fingerprintOf(readCertificates(authority.authorityFile())->front().get());
  TlsFiles careful = authority.issue("careful", kServer);
  careful.revoked = authority.write("revoked.txt", authorityFingerprint);
  const Outcome outcome =
      shake(test::load(careful), authority.context("client", kClient), {"server.test"});
  ASSERT_FALSE(outcome.server);
  EXPECT_NE(outcome.server.error().text.find("its authority's certificate is revoked"),
            std::string::npos)
      << outcome.server.error().text;
}

TEST(Handshake, ANameIsAskedFor) {
  PumpHarness harness;
  auto [near, far] = test::tcpPair();
  auto connected = connect(*harness.client, std::move(near), harness.clientContext, {{}, true, {}});
  const auto outcome = arrived(connected.ready);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kUsage);
}

TEST(Handshake, APeerIsDescribed) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const Peer& seen = pair->second.connection.peer;
  const Peer& own = harness.clientContext->own();
  EXPECT_EQ(seen.dnsNames, std::vector<std::string>{"client.test"});
  EXPECT_EQ(seen.fingerprint, own.fingerprint);
  EXPECT_EQ(seen.serial, own.serial);
  EXPECT_EQ(seen.notAfter, own.notAfter);
  EXPECT_EQ(seen.address.rfind("127.0.0.1:", 0), 0u);
  EXPECT_EQ(pair->first.connection.peer.ipNames, std::vector<std::string>{"127.0.0.1"});
}

TEST(Handshake, ContextsCanBeReplacedWhileConnectionsStand) {
  PumpHarness harness;
  auto first = harness.connection();
  ASSERT_TRUE(first);
  harness.serverContext = harness.certificates.context("server2", {{"server.test"}});
  auto second = harness.connection();
  ASSERT_TRUE(second);
  EXPECT_NE(first->first.connection.peer.fingerprint, second->first.connection.peer.fingerprint);
  ASSERT_TRUE(test::writeAll(first->first.fd(), "still"));
  EXPECT_EQ(test::readBytes(first->second.fd(), 5), "still");
}

TEST(Handshake, CountersTellWhatSucceededAndWhatFailed) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  auto connected =
      connect(*harness.client, std::move(near), harness.clientContext, {{"other"}, false, {}});
  EXPECT_FALSE(*arrived(accepted.ready));
  EXPECT_FALSE(*arrived(connected.ready));
  const auto counters = harness.server->counters();
  EXPECT_EQ(counters.handshakes, 1u);
  EXPECT_EQ(counters.failed, (std::map<ErrorKind, std::uint64_t>{{ErrorKind::kUntrusted, 1}}));
  EXPECT_EQ(counters.open, 1u);
  EXPECT_EQ(counters.handshaking, 0u);
}

}  // namespace
}  // namespace HOQ::tls
