#include "tls/PumpConnection.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tls/PlainName.h"

namespace HOQ::tls {
namespace {

using Step = TlsStream::Step;

// How many scratches of bytes one connection may move before the others have their turn.
constexpr std::size_t kScratchesPerTurn = 8;

bool isRefusal(const Error& error) {
  return error.kind == ErrorKind::kUntrusted || error.kind == ErrorKind::kProtocol;
}

}  // namespace

PumpConnection::PumpConnection(Start start, PumpBench& bench, Clock::time_point deadline)
    : id_(start.id),
      bench_(bench),
      ready_(std::move(start.ready)),
      closed_(std::move(start.closed)),
      awaitsFirst_(start.side == TlsStream::Side::kClient && start.options.awaitFirstByte),
      stream_(std::move(start.context), start.side, std::move(start.socket),
              std::move(start.options.expectedNames)),
      deadline_(deadline) {
  bench_.counters.handshaking.fetch_add(1, std::memory_order_relaxed);
}

PumpConnection::~PumpConnection() { breakOff("the pump ends"); }

void PumpConnection::noteSocket(std::uint32_t events) {
  const bool broken = (events & (EPOLLERR | EPOLLHUP)) != 0;
  stream_.wake(broken || (events & (EPOLLIN | EPOLLRDHUP)) != 0,
               broken || (events & EPOLLOUT) != 0);
}

void PumpConnection::notePlain(std::uint32_t events) {
  const bool gone = (events & (EPOLLERR | EPOLLHUP)) != 0;
  plain_.wake(gone || (events & (EPOLLIN | EPOLLRDHUP)) != 0, (events & EPOLLOUT) != 0);
  if (!gone) return;
  plain_.noteGone();
  linger();
}

void PumpConnection::linger() { deadline_ = Clock::now() + bench_.options.lingerLimit; }

bool PumpConnection::work() {
  share_ = kScratchesPerTurn * bench_.scratch.size();
  if (stage_ == Stage::kHandshaking && shake()) return true;
  if (stage_ == Stage::kAwaiting && awaitFirst()) return true;
  if (stage_ != Stage::kOpen) return false;
  while (carry())
    if (share_ == 0) return true;
  return false;
}

bool PumpConnection::shake() {
  if (const char* why = stream_.lacks()) {
    fail({ErrorKind::kUsage, why});
    return false;
  }
  const Step step = stream_.handshake();
  if (step == Step::kFailed) fail(stream_.error());
  if (step != Step::kDone) return step == Step::kAgain;
  if (awaitsFirst_)
    stage_ = Stage::kAwaiting;
  else
    handOver();
  return false;
}

bool PumpConnection::awaitFirst() {
  std::size_t got = 0;
  const Step step = stream_.read(bench_.scratch.data(), bench_.scratch.size(), &got);
  if (step == Step::kFailed) fail(stream_.error());
  if (step == Step::kEnd)
    fail({ErrorKind::kLost,
          stream_.address() + ": it ended the connection before it said anything"});
  if (step != Step::kDone) return step == Step::kAgain;
  heldIn_.hold(bench_.scratch.data(), got);
  bench_.counters.bytesReceived.fetch_add(got, std::memory_order_relaxed);
  handOver();
  return false;
}

void PumpConnection::handOver() {
  TlsConnection connection;
  if (!plain_.open(connection.plain))
    return fail(
        {ErrorKind::kSystem, stream_.address() + ": no socket pair: " + std::strerror(errno)});
  bindPlainName(plain_.fd(), stream_.address());
  connection.id = id_;
  connection.peer = stream_.peer();
  stage_ = Stage::kOpen;
  deadline_ = Clock::time_point::max();
  PumpCounters& counters = bench_.counters;
  counters.handshaking.fetch_sub(1, std::memory_order_relaxed);
  counters.open.fetch_add(1, std::memory_order_relaxed);
  counters.handshakes.fetch_add(1, std::memory_order_relaxed);
  std::exchange(ready_, nullptr)(std::move(connection));
}

/// Moves what can be moved; true: something was.
bool PumpConnection::carry() {
  bool moved = carryIn();
  if (stage_ == Stage::kOpen) moved = carryOut() || moved;
  if (stage_ == Stage::kOpen) endIfDone();
  return moved && stage_ == Stage::kOpen;
}

bool PumpConnection::carryIn() {
  if (inDone_) return false;
  if (plain_.isGone()) return discard();
  if (!heldIn_.empty()) {
    const std::size_t taken = plain_.write(heldIn_.data(), heldIn_.size());
    heldIn_.drop(taken);
    return taken > 0;
  }
  if (inEnd_) {
    plain_.finish();
    return inDone_ = true;
  }
  return plain_.isWritable() && stream_.isReady(inStep_) && receive();
}

/// One scratch of bytes from the stream to the plain end; true: something came.
bool PumpConnection::receive() {
  unsigned char* scratch = bench_.scratch.data();
  std::size_t filled = 0;
  do {
    std::size_t got = 0;
    inStep_ = stream_.read(scratch + filled, bench_.scratch.size() - filled, &got);
    filled += got;
  } while (inStep_ == Step::kDone && filled < bench_.scratch.size());
  spend(filled);
  bench_.counters.bytesReceived.fetch_add(filled, std::memory_order_relaxed);
  const std::size_t taken = plain_.write(scratch, filled);
  if (taken < filled) heldIn_.hold(scratch + taken, filled - taken);
  if (inStep_ == Step::kEnd) inEnd_ = true;
  if (inStep_ == Step::kFailed) fail(stream_.error());
  return filled > 0 || stream_.isReady(inStep_);
}

/// Nobody reads any more: what still comes is dropped until the other side ends too.
bool PumpConnection::discard() {
  heldIn_.clear();
  if (inEnd_ || !stream_.isReady(inStep_)) return false;
  std::size_t got = 0;
  inStep_ = stream_.read(bench_.scratch.data(), bench_.scratch.size(), &got);
  spend(got);
  if (inStep_ == Step::kEnd) inEnd_ = true;
  if (inStep_ == Step::kFailed) {
    // It has all of ours, and nobody is there whom its end concerns.
    if (outDone_)
      end({ErrorKind::kClosed, ""});
    else
      fail(stream_.error());
  }
  return stream_.isReady(inStep_);
}

bool PumpConnection::carryOut() {
  if (outDone_ || !stream_.isReady(outStep_)) return false;
  if (!heldOut_.empty()) {
    const std::size_t taken = send(heldOut_.data(), heldOut_.size());
    heldOut_.drop(taken);
    return taken > 0 || stream_.isReady(outStep_);
  }
  if (!outEnd_) return plain_.isReadable() && take();
  outStep_ = stream_.finish();
  outDone_ = outStep_ == Step::kDone;
  if (outStep_ == Step::kFailed) fail(stream_.error());
  return stream_.isReady(outStep_);
}

/// One scratch of bytes from the plain end to the stream; true: something came.
bool PumpConnection::take() {
  unsigned char* scratch = bench_.scratch.data();
  std::size_t got = 0;
  std::size_t taken = 0;
  switch (plain_.read(scratch, bench_.scratch.size(), &got)) {
    case PlainEnd::Read::kBytes:
      taken = send(scratch, got);
      if (taken < got) heldOut_.hold(scratch + taken, got - taken);
      return true;
    case PlainEnd::Read::kEnd:
      return outEnd_ = true;
    case PlainEnd::Read::kAbandoned:
      // Without close_notify: who gave up in the middle must not seem to have come to an end.
      end({ErrorKind::kLost, "this side gave the connection up with bytes unread"});
      return false;
    case PlainEnd::Read::kNothing:
      break;
  }
  return false;
}

/// How many bytes the stream took; fewer where it has to wait, or failed.
std::size_t PumpConnection::send(const unsigned char* bytes, std::size_t count) {
  std::size_t sent = 0;
  do {
    std::size_t taken = 0;
    outStep_ = stream_.write(bytes + sent, count - sent, &taken);
    sent += taken;
  } while (outStep_ == Step::kDone && sent < count);
  spend(sent);
  bench_.counters.bytesSent.fetch_add(sent, std::memory_order_relaxed);
  if (sent > 0 && plain_.isGone()) linger();  // who still takes something is waited for
  if (outStep_ == Step::kFailed) fail(stream_.error());
  return sent;
}

/// Of this turn's share. What moves nothing costs something too.
void PumpConnection::spend(std::size_t bytes) {
  share_ -= std::min(share_, std::max(bytes, bench_.scratch.size() / 64));
}

void PumpConnection::endIfDone() {
  if (outDone_ && (inDone_ || (plain_.isGone() && inEnd_))) end({ErrorKind::kClosed, ""});
}

void PumpConnection::expire() {
  if (stage_ == Stage::kEnded || Clock::now() < deadline_) return;
  if (stage_ == Stage::kOpen && outDone_) return end({ErrorKind::kClosed, ""});
  const char* const why = stage_ == Stage::kHandshaking ? ": the handshake took too long"
                          : stage_ == Stage::kAwaiting  ? ": it shook hands and then said nothing"
                                                       : ": it did not take the last bytes in time";
  stream_.resetOnClose();
  fail({ErrorKind::kTimedOut, stream_.address() + why});
}

void PumpConnection::breakOff(const std::string& reason) {
  if (stage_ == Stage::kEnded) return;
  stream_.resetOnClose();
  fail({ErrorKind::kClosed, reason});
}

void PumpConnection::fail(const Error& error) {
  // What the other side was told last is lost where something of it is still unread.
  if (stage_ != Stage::kOpen && isRefusal(error)) stream_.drainSocket();
  end(error);
}

void PumpConnection::end(const Error& error) {
  const bool wasOpen = std::exchange(stage_, Stage::kEnded) == Stage::kOpen;
  deadline_ = Clock::time_point::max();
  PumpCounters& counters = bench_.counters;
  if (wasOpen) {
    counters.open.fetch_sub(1, std::memory_order_relaxed);
    if (closed_) std::exchange(closed_, nullptr)(id_, error);
  } else {
    counters.handshaking.fetch_sub(1, std::memory_order_relaxed);
    counters.failed[static_cast<std::size_t>(error.kind)].fetch_add(1, std::memory_order_relaxed);
    std::exchange(ready_, nullptr)(error);
  }
}

}  // namespace HOQ::tls
