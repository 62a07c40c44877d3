#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <hoq/HOQChannelEndPrototype.h>

namespace HOQ::transport {

/// What a channel's end in this process works on: one side of a stream that carries transfers, one
/// after the other. `transfer` is the number of the one that the end belongs to; for an older one
/// everything fails. Any thread.
class ChannelSide {
 public:
  virtual ~ChannelSide() = default;

  virtual int read(std::uint64_t transfer, char* buffer, std::size_t count, std::size_t& got) = 0;
  virtual int write(std::uint64_t transfer, const char* bytes, std::size_t count) = 0;
  virtual void close(std::uint64_t transfer) = 0;
  virtual void drop(std::uint64_t transfer) = 0;
  virtual bool stands(std::uint64_t transfer) = 0;
  virtual void giveUp(std::uint64_t transfer, const std::string& text) = 0;
  virtual std::string failure(std::uint64_t transfer) = 0;
};

/// The end of a channel whose other end is at the other side of a stream.
class StreamEnd final : public HOQChannelEndPrototype {
 public:
  StreamEnd(std::shared_ptr<ChannelSide> side, std::uint64_t transfer)
      : side_(std::move(side)), transfer_(transfer) {}
  ~StreamEnd() override { side_->drop(transfer_); }

  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    std::size_t bytes = 0;
    const int code = side_->read(transfer_, static_cast<char*>(buffer), count, bytes);
    *got = bytes;
    return code;
  }
  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    const int code = side_->write(transfer_, static_cast<const char*>(buffer), count);
    *written = code == 0 ? count : 0;
    return code;
  }
  void close() override { side_->close(transfer_); }
  bool stands() const override { return side_->stands(transfer_); }
  void giveUp(const std::string& text) override { side_->giveUp(transfer_, text); }
  std::string failure() const override { return side_->failure(transfer_); }

 private:
  const std::shared_ptr<ChannelSide> side_;
  const std::uint64_t transfer_;
};

}  // namespace HOQ::transport
