#include <hoq/HOQChannelMemory.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include "ByteRing.h"

namespace HOQ {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kGone = "The other end of the channel is gone";
constexpr std::chrono::milliseconds kLongestIdle = std::chrono::hours(24 * 365);

HOQChannelLimits& processLimits() {
  static HOQChannelLimits limits;
  return limits;
}

std::string durationText(std::chrono::milliseconds time) {
  if (time.count() % 1000 == 0) return std::to_string(time.count() / 1000) + " s";
  return std::to_string(time.count()) + " ms";
}

// What the two ends share. Each side, 0 or 1, sends into its own stream. Both sides' threads call
// it; the mutex guards everything but the limits.
class Pipe {
 public:
  explicit Pipe(const HOQChannelLimits& limits)
      : idle_(std::min(limits.idle, kLongestIdle)),
        streams_{Stream(limits.bytes), Stream(limits.bytes)} {}

  int read(int side, char* buffer, std::size_t count, std::size_t& got);
  int write(int side, const char* bytes, std::size_t count);
  void close(int side);
  void drop(int side);
  bool stands(int side) const;
  void giveUp(const std::string& text);
  std::string failure() const;

 private:
  using Lock = std::unique_lock<std::mutex>;

  struct Stream {
    explicit Stream(std::size_t limit) : bytes(std::max<std::size_t>(limit, 1)) {}

    ByteRing bytes;
    bool closed = false;   // nothing more is written
    bool dropped = false;  // its sender is gone
    bool readerWaits = false;
    std::size_t awaitedRoom = 0;  // what its sender waits for; 0: it does not wait
    std::uint64_t passed = 0;     // bytes that came in or went out
    std::condition_variable change;
  };

  bool awaitRoom(Lock& lock, int side, std::size_t count);
  template <class Ready>
  bool await(Lock& lock, Stream& stream, Ready ready);
  void fail(const std::string& text);
  void wakeAll();

  const std::chrono::milliseconds idle_;
  mutable std::mutex mutex_;
  Stream streams_[2];
  bool broken_ = false;  // every operation fails
  std::string text_;     // of the first failure
};

// Waits until `ready`. False when no byte has passed for the idle limit: the channel is then
// broken.
template <class Ready>
bool Pipe::await(Lock& lock, Stream& stream, Ready ready) {
  std::uint64_t seen = stream.passed;
  Clock::time_point deadline = Clock::now() + idle_;
  while (!ready()) {
    if (stream.change.wait_until(lock, deadline) == std::cv_status::no_timeout || ready()) continue;
    if (stream.passed == seen) {
      fail("The channel stood still for " + durationText(idle_));
      return false;
    }
    seen = stream.passed;
    deadline = Clock::now() + idle_;
  }
  return true;
}

int Pipe::read(int side, char* buffer, std::size_t count, std::size_t& got) {
  Lock lock(mutex_);
  Stream& stream = streams_[1 - side];
  const auto ready = [&] {
    return broken_ || stream.bytes.size() > 0 || stream.closed || stream.dropped;
  };
  if (count > 0 && !ready()) {
    stream.readerWaits = true;
    const bool came = await(lock, stream, ready);
    stream.readerWaits = false;
    if (!came) return -1;
  }
  if (broken_) return -1;
  got = stream.bytes.get(buffer, count);
  stream.passed += got;
  if (got == 0) return count == 0 || stream.closed ? 0 : -1;
  const bool wake = stream.awaitedRoom > 0 && stream.bytes.room() >= stream.awaitedRoom;
  lock.unlock();
  if (wake) stream.change.notify_one();
  return 0;
}

int Pipe::write(int side, const char* bytes, std::size_t count) {
  Lock lock(mutex_);
  Stream& stream = streams_[side];
  const auto stopped = [&] { return broken_ || stream.closed || streams_[1 - side].dropped; };
  while (!stopped() && count > 0) {
    if (stream.bytes.room() == 0 && !awaitRoom(lock, side, count)) break;
    const std::size_t piece = std::min(count, stream.bytes.room());
    stream.bytes.put(bytes, piece);
    stream.passed += piece;
    bytes += piece;
    count -= piece;
  }
  if (streams_[1 - side].dropped && text_.empty()) text_ = kGone;
  const int code = stopped() ? -1 : 0;
  const bool wake = stream.readerWaits;
  lock.unlock();
  if (wake) stream.change.notify_one();
  return code;
}

// Waits until `count` bytes, or as many as are worth it, have room. False when they never will.
bool Pipe::awaitRoom(Lock& lock, int side, std::size_t count) {
  Stream& stream = streams_[side];
  if (stream.readerWaits) stream.change.notify_one();
  // Not woken for every byte: half of the channel is worth a change of threads.
  stream.awaitedRoom = std::min(count, (stream.bytes.limit() + 1) / 2);
  const bool came = await(lock, stream, [&] {
    return broken_ || stream.closed || streams_[1 - side].dropped ||
           stream.bytes.room() >= stream.awaitedRoom;
  });
  stream.awaitedRoom = 0;
  return came && stream.bytes.room() > 0;
}

void Pipe::close(int side) {
  const Lock lock(mutex_);
  streams_[side].closed = true;
  wakeAll();
}

void Pipe::drop(int side) {
  const Lock lock(mutex_);
  Stream& stream = streams_[side];
  stream.dropped = true;
  if (!stream.closed && text_.empty()) text_ = kGone;
  wakeAll();
}

bool Pipe::stands(int side) const {
  const Lock lock(mutex_);
  return !broken_ && !streams_[1 - side].dropped;
}

void Pipe::giveUp(const std::string& text) {
  const Lock lock(mutex_);
  fail(text.empty() ? "The channel was given up" : text);
}

std::string Pipe::failure() const {
  const Lock lock(mutex_);
  return text_;
}

void Pipe::fail(const std::string& text) {
  if (text_.empty()) text_ = text;
  broken_ = true;
  wakeAll();
}

void Pipe::wakeAll() {
  for (Stream& stream : streams_) stream.change.notify_all();
}

using PipePtr = boost::shared_ptr<Pipe>;

class MemoryEnd final : public HOQChannelEndPrototype {
 public:
  MemoryEnd(PipePtr pipe, int side) : pipe_(std::move(pipe)), side_(side) {}
  ~MemoryEnd() override { pipe_->drop(side_); }

  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    std::size_t bytes = 0;
    const int code = pipe_->read(side_, static_cast<char*>(buffer), count, bytes);
    *got = bytes;
    return code;
  }
  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    const int code = pipe_->write(side_, static_cast<const char*>(buffer), count);
    *written = code == 0 ? count : 0;
    return code;
  }
  void close() override { pipe_->close(side_); }
  bool stands() const override { return pipe_->stands(side_); }
  void giveUp(const std::string& text) override { pipe_->giveUp(text); }
  std::string failure() const override { return pipe_->failure(); }

 private:
  const PipePtr pipe_;
  const int side_;
};

class MemoryChannel final : public HOQChannelPrototype {
 public:
  explicit MemoryChannel(const HOQChannelLimits& limits)
      : pipe_(boost::make_shared<Pipe>(limits)),
        source_(new MemoryEnd(pipe_, 0)),
        destination_(new MemoryEnd(pipe_, 1)) {}

  HOQChannelEndPtr getSourceEnd() override { return source_; }
  HOQChannelEndPtr getDestinationEnd() override { return destination_; }
  void release() override {
    source_.reset();
    destination_.reset();
  }
  void giveUp(const std::string& text) override { pipe_->giveUp(text); }
  std::string failure() override { return pipe_->failure(); }

 private:
  const PipePtr pipe_;
  HOQChannelEndPtr source_;
  HOQChannelEndPtr destination_;
};

class MemoryConnector final : public HOQConnectorPrototype {
 public:
  explicit MemoryConnector(const HOQChannelLimits& limits) : limits_(limits) {}

  HOQChannelPtr connect(const HOQConnectionInfo&) override { return newChannelMemory(limits_); }

 private:
  const HOQChannelLimits limits_;
};

}  // namespace

void setChannelLimits(const HOQChannelLimits& limits) { processLimits() = limits; }
const HOQChannelLimits& channelLimits() { return processLimits(); }

HOQChannelPtr newChannelMemory(const HOQChannelLimits& limits) {
  return HOQChannelPtr(new MemoryChannel(limits));
}

HOQConnectorPtr newConnectorMemory(const HOQChannelLimits& limits) {
  return HOQConnectorPtr(new MemoryConnector(limits));
}

}  // namespace HOQ
