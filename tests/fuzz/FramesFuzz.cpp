// Whatever messages the other side of a stream of transfers sends, and in whatever order this side
// works: what is read are the bytes that came for this transfer, in their order, and what waits
// here is bounded.

#include <fuzzer/FuzzedDataProvider.h>
#include <hoq/v1/haul.pb.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "haul/TransferStream.h"

using namespace HOQ;
using hoq::v1::HaulReply;
using hoq::v1::HaulRequest;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// A node's side whose wire is in the hand of the fuzzer: nothing passes unless it says so.
class Side final : public transport::TransferStream<HaulReply, HaulRequest> {
 public:
  Side() : TransferStream(std::chrono::milliseconds(0)) {
    Lock lock(mutex_);
    rearm(lock);
  }

  void begin() {
    Lock lock(mutex_);
    beginTransfer();
    rearm(lock);
  }
  void end() {
    const Lock lock(mutex_);
    endTransfer();
  }
  std::uint64_t transfer() const { return transfer_; }
  static std::size_t frame() { return kFrame; }
  static std::size_t most() { return kBuffered + kFrame; }

  bool wantsMessage() const { return wanted_ != nullptr; }
  void take(HaulRequest&& message) {
    *std::exchange(wanted_, nullptr) = std::move(message);
    got(true);
  }
  void loseLink() {
    if (std::exchange(wanted_, nullptr) != nullptr) got(false);
  }
  void letWrite(bool ok) {
    if (!std::exchange(isWriting_, false)) return;
    wrote(ok);
  }
  bool isOver() const { return over_; }

 private:
  void startWrite(const HaulReply& message) override {
    require(!isWriting_ && message.data().size() <= kFrame);
    require(message.give_up().size() <= 4096);
    isWriting_ = true;
  }
  void startRead(HaulRequest* message) override {
    require(wanted_ == nullptr && !over_);
    wanted_ = message;
  }
  void breakOff(Lock&, const char*) override {}
  bool step(Lock&, Clock::time_point) override { return false; }  // nothing comes by waiting
  bool takeTail(HaulRequest& message, Lock&) override { return !message.has_finish(); }

  HaulRequest* wanted_ = nullptr;
  bool isWriting_ = false;
};

/// Bytes that are told apart by where they stand; any frame, and one that is too long, are in it.
constexpr std::size_t kPeriod = 251;
const std::string pattern = [] {
  std::string made;
  while (made.size() < Side::frame() + kPeriod + 1)
    made.push_back(static_cast<char>(made.size() % kPeriod));
  return made;
}();

/// One run: the side, and what must come out of it.
class Run {
 public:
  explicit Run(FuzzedDataProvider& input) : input_(input) {}

  void step() {
    switch (input_.ConsumeIntegralInRange(0, 10)) {
      case 0:
        return begin();
      case 1:
        return end();
      case 2:
        return side_.close(anyTransfer());
      case 3:
        return drop();
      case 4:
        return giveUp();
      case 5:
        return side_.letWrite(input_.ConsumeProbability<float>() > 0.05F);
      case 6:
        return write();
      case 7:
        return read();
      case 8:
        return takeRaw();
      case 9:
        return (void)side_.stands(anyTransfer());
      default:
        return takeData();
    }
  }

 private:
  void begin() {
    side_.begin();
    came_.clear();
    isWhole_ = true;
  }

  void end() {
    isWhole_ = false;
    side_.end();
  }

  void drop() {
    isWhole_ = false;
    side_.drop(anyTransfer());
  }

  void giveUp() {
    isWhole_ = false;
    side_.giveUp(anyTransfer(), input_.ConsumeRandomLengthString(8));
  }

  std::uint64_t anyTransfer() { return side_.transfer() - (input_.ConsumeBool() ? 0 : 1); }

  void write() {
    const std::string bytes(input_.ConsumeIntegralInRange<std::size_t>(0, 2 * Side::frame()), 'w');
    const std::uint64_t transfer = anyTransfer();
    const int code = side_.write(transfer, bytes.data(), bytes.size());
    require(code == 0 || code == -1);
    require(code != 0 || transfer == side_.transfer());
    if (code != 0) isWhole_ = false;  // it was given up where nothing passed
  }

  void read() {
    std::string buffer(input_.ConsumeIntegralInRange<std::size_t>(0, 8192), '\0');
    const std::uint64_t transfer = anyTransfer();
    std::size_t got = 0;
    const int code = side_.read(transfer, buffer.data(), buffer.size(), got);
    require(got <= buffer.size());
    if (code != 0) isWhole_ = false;
    require(got == 0 || (code == 0 && transfer == side_.transfer()));
    require(got <= came_.size() && came_.compare(0, got, buffer, 0, got) == 0);
    came_.erase(0, got);
  }

  /// Bytes that are told apart by where they stand.
  void takeData() {
    HaulRequest message;
    const auto size = input_.ConsumeIntegralInRange<std::size_t>(0, Side::frame() + 1);
    message.set_data(pattern.substr(next_, size));
    next_ = (next_ + size) % kPeriod;
    message.set_end_of_data(input_.ConsumeProbability<float>() > 0.9F);
    take(std::move(message));
  }

  void takeRaw() {
    HaulRequest message;
    if (message.ParseFromString(input_.ConsumeRandomLengthString(64))) take(std::move(message));
  }

  void take(HaulRequest&& message) {
    if (!side_.wantsMessage()) return;
    if (side_.isOver()) return side_.loseLink();
    came_ += message.data();
    if (message.end_of_data() || message.has_give_up()) isWhole_ = false;
    side_.take(std::move(message));
    require(!isWhole_ || came_.size() <= Side::most());
  }

  FuzzedDataProvider& input_;
  Side side_;
  std::string came_;      // and was not read yet
  bool isWhole_ = false;  // all that came can still be read
  std::size_t next_ = 0;  // in the pattern
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  Run run(input);
  while (input.remaining_bytes() > 0) run.step();
  return 0;
}
