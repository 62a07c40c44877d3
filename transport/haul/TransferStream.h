#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "haul/ChannelSide.h"

namespace HOQ::transport {

/// One side of a stream of messages that carries transfers: the bytes of their channels, bounded
/// both ways, and beside them what the derived side makes of the rest of the messages. `Out` and
/// `In` are what this side sends and gets; both have data, end_of_data, gone and give_up.
///
/// One message is being written and one gathered: bytes wait until a frame is full, or until
/// something must go, and go with it. Reading stops while enough is waiting here. Any thread; the
/// mutex guards everything, and the wire's operations are called without it.
template <class Out, class In>
class TransferStream : public ChannelSide {
 public:
  int read(std::uint64_t transfer, char* buffer, std::size_t count, std::size_t& got) override;
  int write(std::uint64_t transfer, const char* bytes, std::size_t count) override;
  void close(std::uint64_t transfer) override;
  void drop(std::uint64_t transfer) override;
  bool stands(std::uint64_t transfer) override;
  void giveUp(std::uint64_t transfer, const std::string& text) override;
  std::string failure(std::uint64_t transfer) override;

 protected:
  using Lock = std::unique_lock<std::mutex>;
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t kFrame = 256 * 1024;  // of bytes in a message
  static constexpr int kMostWhole = 64;              // in a message
  /// What an end that leaves waits for the message that says so; a stream that is stuck for longer
  /// says it with the next call, or breaks off.
  static constexpr std::chrono::milliseconds kToSettle{1000};
  static constexpr std::size_t kBuffered = 1024 * 1024;  // what may wait to be read here

  explicit TransferStream(std::chrono::milliseconds idle)
      : idle_(std::min<std::chrono::milliseconds>(idle, std::chrono::hours(24 * 365))) {}

  // The wire. The first two are called without the lock; each write and read is followed by one
  // wrote() or got().
  virtual void startWrite(const Out& message) = 0;
  virtual void startRead(In* message) = 0;
  /// Sees to it that the stream ends with a failure. With the lock.
  virtual void breakOff(Lock& lock, const char* why) = 0;
  /// Waits until something may have changed, or until `deadline`: then false.
  virtual bool step(Lock& lock, Clock::time_point deadline) = 0;
  /// Takes what has come, without waiting.
  virtual void glance(Lock&) {}
  /// Where nobody works the wire unless he waits: sees what must go off, for so long at most.
  virtual void settle(Lock&, std::chrono::milliseconds) {}
  /// Ends a step() of another thread.
  virtual void wake() { changed_.notify_all(); }

  // The rest of a message, before and after its bytes. False: it has no place here.
  virtual bool takeHead(In&, Lock&) { return true; }
  virtual bool takeTail(In& message, Lock& lock) = 0;
  virtual bool wantsMore() const { return true; }
  /// The stream was lost or broken off; called again when less of it is under way.
  virtual void streamEnded(Lock&) {}

  void wrote(bool ok);
  void got(bool ok);

  /// Opens the channel of a further transfer.
  void beginTransfer();
  void endTransfer() { open_ = false; }
  bool isCurrent(std::uint64_t transfer) const { return open_ && transfer == transfer_; }

  /// Sees to it that the message in the making goes as soon as it can.
  void push(Lock& lock);
  void rearm(Lock& lock);
  /// Waits until `ready`; false when nothing passed for the idle limit.
  template <class Ready>
  bool await(Lock& lock, Ready ready);
  /// The channel fails because of `text`; the other side is not told.
  void fail(const std::string& text);
  /// Nothing passes any more.
  void lose(Lock& lock, const std::string& text);
  std::string stoodStill() const;

  const std::chrono::milliseconds idle_;
  std::mutex mutex_;
  std::condition_variable changed_;
  Out out_;        // in the making
  Out outFlight_;  // the wire's while writing_
  In in_;          // the wire's while reading_
  bool writing_ = false;
  bool reading_ = false;
  bool arming_ = false;  // a thread is just handing a read to the wire
  bool dirty_ = false;   // out_ must go
  bool over_ = false;    // the stream
  std::uint64_t transfer_ = 0;
  bool open_ = false;  // there is a transfer
  Clock::time_point lastPassed_ = Clock::now();
  std::uint64_t bytesIn_ = 0;  // of the transfer
  std::uint64_t bytesOut_ = 0;

 private:
  struct Channel {
    std::deque<std::string> data;
    std::size_t at = 0;     // in the first
    std::size_t bytes = 0;  // of all
    bool ended = false;     // the other side sends no more
    bool gone = false;      // the other side's end was dropped
    bool closed = false;    // this side sends no more
    bool dropped = false;   // this side's end
    bool broken = false;    // every operation fails
    std::string text;       // of the first failure
  };

  bool stopped(std::uint64_t transfer) const {
    return over_ || !isCurrent(transfer) || channel_.broken || channel_.closed || channel_.gone;
  }
  void sendNow(Lock& lock);
  std::size_t takeBytes(char* buffer, std::size_t count);
  bool takeBytesOf(In& message);

  Channel channel_;
};

constexpr const char* kChannelGone = "The other end of the channel is gone";

template <class Out, class In>
void TransferStream<Out, In>::beginTransfer() {
  ++transfer_;
  channel_ = Channel();
  bytesIn_ = bytesOut_ = 0;
  open_ = true;
  lastPassed_ = Clock::now();
}

template <class Out, class In>
template <class Ready>
bool TransferStream<Out, In>::await(Lock& lock, Ready ready) {
  const Clock::time_point since = Clock::now();
  while (!ready()) {
    const Clock::time_point deadline = std::max(since, lastPassed_) + idle_;
    if (step(lock, deadline) || ready()) continue;
    if (Clock::now() >= std::max(since, lastPassed_) + idle_) return false;
  }
  return true;
}

template <class Out, class In>
int TransferStream<Out, In>::read(std::uint64_t transfer, char* buffer, std::size_t count,
                                  std::size_t& got) {
  got = 0;
  Lock lock(mutex_);
  const auto ready = [&] {
    return over_ || !isCurrent(transfer) || channel_.broken || channel_.bytes > 0 ||
           channel_.ended || channel_.gone;
  };
  if (count > 0 && !await(lock, ready)) {
    lock.unlock();
    giveUp(transfer, stoodStill());
    return -1;
  }
  if (!isCurrent(transfer) || channel_.broken) return -1;
  got = takeBytes(buffer, count);
  rearm(lock);
  return got > 0 || count == 0 || channel_.ended ? 0 : -1;
}

template <class Out, class In>
std::size_t TransferStream<Out, In>::takeBytes(char* buffer, std::size_t count) {
  std::size_t taken = 0;
  while (taken < count && !channel_.data.empty()) {
    const std::string& first = channel_.data.front();
    const std::size_t piece = std::min(count - taken, first.size() - channel_.at);
    std::memcpy(buffer + taken, first.data() + channel_.at, piece);
    taken += piece;
    channel_.at += piece;
    if (channel_.at < first.size()) break;
    channel_.data.pop_front();
    channel_.at = 0;
  }
  channel_.bytes -= taken;
  return taken;
}

template <class Out, class In>
int TransferStream<Out, In>::write(std::uint64_t transfer, const char* bytes, std::size_t count) {
  Lock lock(mutex_);
  while (count > 0 && !stopped(transfer)) {
    const std::size_t room = kFrame - out_.data().size();
    if (room == 0) {
      glance(lock);
      if (await(lock, [&] { return stopped(transfer) || out_.data().size() < kFrame; })) continue;
      lock.unlock();
      giveUp(transfer, stoodStill());
      return -1;
    }
    const std::size_t piece = std::min(room, count);
    out_.mutable_data()->append(bytes, piece);
    bytes += piece;
    count -= piece;
    bytesOut_ += piece;
    if (piece == room) push(lock);
  }
  if (!isCurrent(transfer)) return -1;
  if (channel_.gone && channel_.text.empty()) channel_.text = kChannelGone;
  return stopped(transfer) ? -1 : 0;
}

template <class Out, class In>
void TransferStream<Out, In>::close(std::uint64_t transfer) {
  Lock lock(mutex_);
  if (!isCurrent(transfer) || channel_.closed) return;
  channel_.closed = true;
  out_.set_end_of_data(true);
  push(lock);
  settle(lock, idle_);
}

template <class Out, class In>
void TransferStream<Out, In>::drop(std::uint64_t transfer) {
  Lock lock(mutex_);
  if (!isCurrent(transfer) || channel_.dropped) return;
  channel_.dropped = true;
  channel_.data.clear();
  channel_.at = channel_.bytes = 0;
  if (!channel_.closed && channel_.text.empty()) channel_.text = kChannelGone;
  out_.set_gone(true);
  push(lock);
  rearm(lock);  // what still comes is thrown away
  settle(lock, kToSettle);
}

template <class Out, class In>
bool TransferStream<Out, In>::stands(std::uint64_t transfer) {
  Lock lock(mutex_);
  glance(lock);
  if (isCurrent(transfer) && !out_.data().empty()) push(lock);  // its writer pauses
  return !over_ && isCurrent(transfer) && !channel_.broken && !channel_.gone;
}

template <class Out, class In>
void TransferStream<Out, In>::giveUp(std::uint64_t transfer, const std::string& text) {
  constexpr std::size_t kLongestText = 4096;
  Lock lock(mutex_);
  if (!isCurrent(transfer)) return;
  const bool wasBroken = channel_.broken;
  fail(text.empty() ? "The channel was given up" : text);
  if (!wasBroken && !over_) {
    out_.set_give_up(channel_.text.substr(0, kLongestText));
    push(lock);
  }
  rearm(lock);
  wake();
  settle(lock, kToSettle);
}

template <class Out, class In>
std::string TransferStream<Out, In>::failure(std::uint64_t transfer) {
  const Lock lock(mutex_);
  return transfer == transfer_ ? channel_.text : std::string();
}

template <class Out, class In>
void TransferStream<Out, In>::fail(const std::string& text) {
  if (channel_.text.empty()) channel_.text = text;
  channel_.broken = true;
  channel_.data.clear();
  channel_.at = channel_.bytes = 0;
}

template <class Out, class In>
void TransferStream<Out, In>::lose(Lock& lock, const std::string& text) {
  if (!over_ && open_) fail(text);
  over_ = true;
  streamEnded(lock);
  changed_.notify_all();
}

template <class Out, class In>
void TransferStream<Out, In>::push(Lock& lock) {
  dirty_ = true;
  if (!writing_ && !over_) sendNow(lock);
}

template <class Out, class In>
void TransferStream<Out, In>::sendNow(Lock& lock) {
  writing_ = true;
  dirty_ = false;
  outFlight_.Swap(&out_);
  out_.Clear();
  lock.unlock();
  startWrite(outFlight_);
  lock.lock();
}

template <class Out, class In>
void TransferStream<Out, In>::rearm(Lock& lock) {
  if (reading_ || over_ || channel_.bytes >= kBuffered || !wantsMore()) return;
  reading_ = arming_ = true;
  lock.unlock();
  startRead(&in_);
  lock.lock();
  arming_ = false;
  if (over_) streamEnded(lock);
}

template <class Out, class In>
void TransferStream<Out, In>::wrote(bool ok) {
  Lock lock(mutex_);
  writing_ = false;
  lastPassed_ = Clock::now();
  if (!ok)
    lose(lock, "The connection was lost");
  else if (dirty_ && !over_)
    sendNow(lock);
  else if (over_)
    streamEnded(lock);
  changed_.notify_all();
}

template <class Out, class In>
void TransferStream<Out, In>::got(bool ok) {
  Lock lock(mutex_);
  reading_ = false;
  lastPassed_ = Clock::now();
  if (!ok) return lose(lock, "The connection was lost");
  if (takeHead(in_, lock) && takeBytesOf(in_) && takeTail(in_, lock)) {
    in_.Clear();
    rearm(lock);
    changed_.notify_all();
    return;
  }
  const char* const what = "What came has no place in a stream of transfers";
  breakOff(lock, what);
  lose(lock, what);
}

template <class Out, class In>
bool TransferStream<Out, In>::takeBytesOf(In& message) {
  if (message.data().size() > kFrame) return false;
  const bool taken = open_ && !channel_.broken && !channel_.dropped && !channel_.ended;
  if (taken && !message.data().empty()) {
    channel_.bytes += message.data().size();
    bytesIn_ += message.data().size();
    channel_.data.push_back(std::move(*message.mutable_data()));
  }
  if (message.end_of_data()) channel_.ended = true;
  if (message.gone()) {
    channel_.gone = true;
    if (!channel_.ended && channel_.text.empty()) channel_.text = kChannelGone;
  }
  if (message.has_give_up()) fail(message.give_up());
  return true;
}

template <class Out, class In>
std::string TransferStream<Out, In>::stoodStill() const {
  const auto count = idle_.count();
  return "The channel stood still for " +
         (count % 1000 == 0 ? std::to_string(count / 1000) + " s" : std::to_string(count) + " ms");
}

}  // namespace HOQ::transport
