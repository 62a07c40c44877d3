#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <hoq/HOQChannelEndPrototype.h>

namespace HOQ {

/// An end of a channel that nobody is behind: it keeps what is written, up to a limit, and fails
/// beyond it. One thread.
class KeptEnd final : public HOQChannelEndPrototype {
 public:
  explicit KeptEnd(std::size_t limit) : limit_(limit) {}

  int read(void*, std::uint64_t, std::uint64_t* got) override {
    *got = 0;
    giveUp("Nobody sends");
    return -1;
  }
  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    *written = 0;
    if (failure_.empty() && count > limit_ - bytes_.size()) giveUp("It is more than is kept");
    if (!failure_.empty()) return -1;
    bytes_.append(static_cast<const char*>(buffer), count);
    *written = count;
    return 0;
  }
  void close() override {}
  /// Nobody waits for what may come later.
  bool stands() const override { return false; }
  void giveUp(const std::string& text) override {
    if (failure_.empty()) failure_ = text.empty() ? "It was given up" : text;
  }
  std::string failure() const override { return failure_; }

  std::string take() { return std::exchange(bytes_, std::string()); }

 private:
  const std::size_t limit_;
  std::string bytes_;
  std::string failure_;
};

}  // namespace HOQ
