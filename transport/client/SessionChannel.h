#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <hoq/HOQChannelPrototype.h>

#include "haul/ChannelSide.h"

namespace HOQ::transport {

/// What the two ends of a session's channel share. One of them works here, on this side of the
/// stream; the other one stands for the node's, which shows when it is handed to a stage. Any
/// thread.
class SessionChannel {
 public:
  /// Where the ends work from here on.
  void bind(std::shared_ptr<ChannelSide> side, std::uint64_t transfer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    side_ = std::move(side);
    transfer_ = transfer;
  }

  std::pair<std::shared_ptr<ChannelSide>, std::uint64_t> side() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {side_, transfer_};
  }

  /// The end of that number stands for the node's.
  void handOver(int end) {
    std::unique_lock<std::mutex> lock(mutex_);
    standIn_ = end;
    const bool otherIsGone = dropped_[1 - end];
    lock.unlock();
    if (otherIsGone) dropSide();
  }

  void dropped(int end) {
    std::unique_lock<std::mutex> lock(mutex_);
    dropped_[end] = true;
    const bool tell = standIn_ == 1 - end;
    lock.unlock();
    if (tell) dropSide();
  }

 private:
  void dropSide() {
    const auto [stream, transfer] = side();
    stream->drop(transfer);
  }

  mutable std::mutex mutex_;  // guards everything
  std::shared_ptr<ChannelSide> side_;
  std::uint64_t transfer_ = 0;
  int standIn_ = -1;  // not known yet
  bool dropped_[2] = {false, false};
};

/// One of them.
class SessionEnd final : public HOQChannelEndPrototype {
 public:
  SessionEnd(std::shared_ptr<SessionChannel> channel, int number)
      : channel_(std::move(channel)), number_(number) {}
  ~SessionEnd() override { channel_->dropped(number_); }

  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    const auto [side, transfer] = channel_->side();
    std::size_t bytes = 0;
    const int code = side->read(transfer, static_cast<char*>(buffer), count, bytes);
    *got = bytes;
    return code;
  }
  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    const auto [side, transfer] = channel_->side();
    const int code = side->write(transfer, static_cast<const char*>(buffer), count);
    *written = code == 0 ? count : 0;
    return code;
  }
  void close() override {
    const auto [side, transfer] = channel_->side();
    side->close(transfer);
  }
  bool stands() const override {
    const auto [side, transfer] = channel_->side();
    return side->stands(transfer);
  }
  void giveUp(const std::string& text) override {
    const auto [side, transfer] = channel_->side();
    side->giveUp(transfer, text);
  }
  std::string failure() const override {
    const auto [side, transfer] = channel_->side();
    return side->failure(transfer);
  }

  const std::shared_ptr<SessionChannel>& channel() const { return channel_; }
  int number() const { return number_; }

 private:
  const std::shared_ptr<SessionChannel> channel_;
  const int number_;
};

/// The pair.
class SessionEnds final : public HOQChannelPrototype {
 public:
  explicit SessionEnds(const std::shared_ptr<SessionChannel>& channel)
      : channel_(channel),
        source_(new SessionEnd(channel, 0)),
        destination_(new SessionEnd(channel, 1)) {}

  HOQChannelEndPtr getSourceEnd() override { return source_; }
  HOQChannelEndPtr getDestinationEnd() override { return destination_; }
  void release() override {
    source_.reset();
    destination_.reset();
  }
  void giveUp(const std::string& text) override {
    const auto [side, transfer] = channel_->side();
    side->giveUp(transfer, text);
  }
  std::string failure() override {
    const auto [side, transfer] = channel_->side();
    return side->failure(transfer);
  }

 private:
  const std::shared_ptr<SessionChannel> channel_;
  HOQChannelEndPtr source_;
  HOQChannelEndPtr destination_;
};

}  // namespace HOQ::transport
