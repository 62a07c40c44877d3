#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <thread>

#include "transport/tls/support/PumpHarness.h"
#include "transport/tls/support/RawTls.h"

namespace HOQ::tls {
namespace {

using test::accept;
using test::arrived;
using test::Certificates;
using test::End;
using test::PumpHarness;
using test::RawTls;
using test::readBytes;
using test::readToEnd;
using test::waitFor;
using test::writeAll;

/// A connection of the harness's server with a party that is not ours.
struct Foreign {
  RawTls client;
  End server;
};

std::optional<Foreign> foreign(PumpHarness& harness) {
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  static int number = 0;
  const std::string file = "raw" + std::to_string(++number);
  RawTls client({harness.certificates.issue(file, {{"raw"}})}, std::move(near));
  if (!client.shake()) return std::nullopt;
  auto outcome = arrived(accepted.ready);
  if (!outcome || !*outcome) return std::nullopt;
  test::makeBlocking((*outcome)->plain.get());
  return Foreign{std::move(client), End{std::move(**outcome), std::move(accepted.closed)}};
}

TEST(PumpEnds, ASideThatHasSaidAllGoesOnReading) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const int near = pair->first.fd();
  const int far = pair->second.fd();
  ASSERT_TRUE(writeAll(near, "question"));
  ASSERT_EQ(::shutdown(near, SHUT_WR), 0);
  EXPECT_EQ(readToEnd(far), "question");
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(writeAll(far, "answer "));
  ASSERT_EQ(::shutdown(far, SHUT_WR), 0);
  EXPECT_EQ(readToEnd(near), "answer answer answer ");
  EXPECT_EQ(arrived(pair->first.closed)->text, "");
  EXPECT_EQ(arrived(pair->second.closed)->text, "");
}

TEST(PumpEnds, ASideThatClosesIsHeardToItsEnd) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  const std::string last(3'000'000, 'l');
  std::thread writer([&] {
    EXPECT_TRUE(writeAll(pair->second.fd(), last));
    pair->second.connection.plain.reset();
  });
  EXPECT_EQ(readToEnd(pair->first.fd()), last);
  writer.join();
  pair->first.connection.plain.reset();
  EXPECT_EQ(arrived(pair->first.closed)->text, "");
  EXPECT_EQ(arrived(pair->second.closed)->text, "");
}

TEST(PumpEnds, WhatIsSentToASideThatIsGoneIsDroppedUntilTheSenderEnds) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  pair->second.connection.plain.reset();
  EXPECT_EQ(readToEnd(pair->first.fd()), "");
  std::thread writer([&] {
    EXPECT_TRUE(writeAll(pair->first.fd(), std::string(1'000'000, 'x')));
    pair->first.connection.plain.reset();
  });
  EXPECT_EQ(arrived(pair->second.closed)->text, "");
  EXPECT_EQ(arrived(pair->first.closed)->text, "");
  writer.join();
}

TEST(PumpEnds, ASideThatNeverEndsIsLeftWhenItsTimeIsOver) {
  TlsPump::Options options;
  options.lingerLimit = std::chrono::milliseconds(50);
  PumpHarness harness(options);
  auto made = foreign(harness);
  ASSERT_TRUE(made);
  made->server.connection.plain.reset();
  EXPECT_EQ(arrived(made->server.closed)->text, "") << "all of ours was sent";
  EXPECT_EQ(made->client.read(1), "");
  EXPECT_TRUE(made->client.sawEnd());
}

TEST(PumpEnds, ASideThatDoesNotTakeTheLastBytesIsResetWhenItsTimeIsOver) {
  TlsPump::Options options;
  options.lingerLimit = std::chrono::milliseconds(200);
  PumpHarness harness(options);
  auto made = foreign(harness);
  ASSERT_TRUE(made);
  const int fd = made->server.fd();
  // Until the way is full.
  const std::string piece(64 * 1024, 'p');
  pollfd wait{fd, POLLOUT, 0};
  while (::poll(&wait, 1, 200) == 1)
    (void)::send(fd, piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  made->server.connection.plain.reset();
  EXPECT_EQ(arrived(made->server.closed)->kind, ErrorKind::kTimedOut);
}

/// The plain end of a connection that broke.
void expectBroken(const End& end) {
  const short events = waitFor(end.fd(), POLLIN | POLLRDHUP);
  EXPECT_NE(events & POLLRDHUP, 0);
  EXPECT_NE(waitFor(end.fd(), 0) & POLLHUP, 0) << "not only the one direction is over";
  EXPECT_FALSE(writeAll(end.fd(), "x"));
}

TEST(PumpEnds, ACutWithoutCloseNotifyIsNoEndOfData) {
  PumpHarness harness;
  for (const bool reset : {false, true}) {
    SCOPED_TRACE(reset ? "reset" : "closed");
    auto made = foreign(harness);
    ASSERT_TRUE(made);
    ASSERT_TRUE(made->client.write("half of"));
    EXPECT_EQ(readBytes(made->server.fd(), 7), "half of");
    made->client.vanish(reset);
    const auto closed = arrived(made->server.closed);
    EXPECT_EQ(closed->kind, ErrorKind::kLost);
    EXPECT_NE(closed->text.find(reset ? "the connection broke" : "cut short"), std::string::npos)
        << closed->text;
    expectBroken(made->server);
  }
}

TEST(PumpEnds, ACutFailsReadingWhereSomethingWasStillUnsent) {
  PumpHarness harness;
  auto made = foreign(harness);
  ASSERT_TRUE(made);
  const std::string piece(64 * 1024, 'p');
  pollfd wait{made->server.fd(), POLLOUT, 0};
  while (::poll(&wait, 1, 200) == 1)
    (void)::send(made->server.fd(), piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  made->client.vanish(true);
  EXPECT_EQ(arrived(made->server.closed)->kind, ErrorKind::kLost);
  EXPECT_EQ(readToEnd(made->server.fd()), std::nullopt);
}

TEST(PumpEnds, ARecordThatWasTamperedWithBreaksTheConnection) {
  PumpHarness harness;
  auto made = foreign(harness);
  ASSERT_TRUE(made);
  const std::string forged = std::string("\x17\x03\x03\x00\x20", 5) + std::string(32, 'f');
  ASSERT_TRUE(writeAll(made->client.socket(), forged));
  const auto closed = arrived(made->server.closed);
  EXPECT_EQ(closed->kind, ErrorKind::kLost);
  EXPECT_NE(closed->text.find("the TLS stream is broken"), std::string::npos) << closed->text;
  expectBroken(made->server);
}

TEST(PumpEnds, GivingUpWithBytesUnreadIsNoEndOfDataForTheOther) {
  PumpHarness harness;
  auto made = foreign(harness);
  ASSERT_TRUE(made);
  ASSERT_TRUE(made->client.write("never read"));
  waitFor(made->server.fd(), POLLIN);
  made->server.connection.plain.reset();
  EXPECT_EQ(arrived(made->server.closed)->kind, ErrorKind::kLost);
  EXPECT_EQ(made->client.read(1), "");
  EXPECT_FALSE(made->client.sawEnd()) << "no close_notify";
}

TEST(PumpEnds, ClosingAnIdBreaksBothSidesAndTellsTheReason) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  harness.server->close(pair->second.connection.id, "its entry was removed");
  const auto closed = arrived(pair->second.closed);
  EXPECT_EQ(closed->kind, ErrorKind::kClosed);
  EXPECT_EQ(closed->text, "its entry was removed");
  EXPECT_EQ(arrived(pair->first.closed)->kind, ErrorKind::kLost);
  expectBroken(pair->first);
  expectBroken(pair->second);
  harness.server->close(pair->second.connection.id, "again");
  harness.server->close(0, "never there");
  harness.server->close(~ConnectionId{0}, "never there");
  EXPECT_TRUE(harness.connection()) << "others are not concerned";
}

TEST(PumpEnds, ClosingAHandshakeTellsTheReason) {
  PumpHarness harness;
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  harness.server->close(accepted.id, "drained");
  const auto outcome = arrived(accepted.ready);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kClosed);
  EXPECT_EQ(outcome->error().text, "drained");
}

TEST(PumpEnds, APumpThatEndsAnswersEverybody) {
  PumpHarness harness;
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  auto [near, far] = test::tcpPair();
  auto accepted = accept(*harness.server, std::move(far), harness.serverContext);
  harness.server.reset();
  EXPECT_EQ(arrived(pair->second.closed)->text, "the pump ends");
  const auto outcome = arrived(accepted.ready);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kClosed);
  EXPECT_EQ(arrived(pair->first.closed)->kind, ErrorKind::kLost);
}

TEST(PumpEnds, CallbacksMayOrderMoreEvenWhileThePumpEnds) {
  Certificates certificates;
  const auto context = certificates.context("node", {{"node"}});
  auto pump = test::makePump();
  std::promise<Result<TlsConnection>> second;
  auto [near, far] = test::tcpPair();
  auto [near2, far2] = test::tcpPair();
  TlsPump* raw = pump.get();
  auto spare = std::make_shared<UniqueFd>(std::move(far2));
  raw->accept(std::move(far), context, [&, spare, raw](Result<TlsConnection>) {
    raw->accept(std::move(*spare), context,
                [&second](Result<TlsConnection> result) { second.set_value(std::move(result)); });
  });
  pump.reset();
  auto future = second.get_future();
  const auto outcome = arrived(future);
  ASSERT_FALSE(*outcome);
  EXPECT_EQ(outcome->error().kind, ErrorKind::kClosed);
}

TEST(PumpEnds, NoSignalIsRaisedWhereASideIsGone) {
  PumpHarness harness;
  auto made = foreign(harness);
  ASSERT_TRUE(made);
  std::signal(SIGPIPE, SIG_DFL);  // it would end this program
  made->client.vanish(true);
  for (int i = 0; i < 100; ++i) (void)writeAll(made->server.fd(), "x");
  EXPECT_EQ(arrived(made->server.closed)->kind, ErrorKind::kLost);
  auto pair = harness.connection();
  ASSERT_TRUE(pair);
  pair->first.connection.plain.reset();
  (void)writeAll(pair->second.fd(), std::string(500'000, 'x'));
  pair->second.connection.plain.reset();
  EXPECT_EQ(arrived(pair->first.closed)->text, "");
}

}  // namespace
}  // namespace HOQ::tls
