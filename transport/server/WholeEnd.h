#pragma once

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include <hoq/HOQChannelEndPrototype.h>

namespace HOQ::transport {

/// The receiving end of a channel all of whose bytes have come. Any thread.
class WholeEnd final : public HOQChannelEndPrototype {
 public:
  explicit WholeEnd(std::string bytes) : bytes_(std::move(bytes)) {}

  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    *got = failure_.empty() ? std::min<std::uint64_t>(count, bytes_.size() - at_) : 0;
    if (*got > 0) std::memcpy(buffer, bytes_.data() + at_, *got);
    at_ += *got;
    return failure_.empty() ? 0 : -1;
  }
  int write(const void*, std::uint64_t, std::uint64_t* written) override {
    *written = 0;
    giveUp("Nobody reads at the other end of the channel");
    return -1;
  }
  void close() override {}
  bool hasAll() const override { return true; }
  void giveUp(const std::string& text) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_.empty()) failure_ = text.empty() ? "The channel was given up" : text;
  }
  std::string failure() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return failure_;
  }

 private:
  mutable std::mutex mutex_;  // guards the rest
  const std::string bytes_;
  std::size_t at_ = 0;
  std::string failure_;
};

}  // namespace HOQ::transport
