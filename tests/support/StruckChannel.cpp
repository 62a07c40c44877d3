#include "support/StruckChannel.h"

#include <hoq/HOQChannelMemory.h>

#include <utility>

#include "support/HaulFakes.h"

namespace HOQ::test {
namespace {

// An end of a channel in memory whose calls may fail.
class StruckEnd final : public HOQChannelEndPrototype {
 public:
  explicit StruckEnd(HOQChannelEndPtr end) : end_(std::move(end)) {}

  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    *got = 0;
    return HaulWorld::current().strike("read", false) ? -1 : end_->read(buffer, count, got);
  }
  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    *written = 0;
    return HaulWorld::current().strike("write", false) ? -1 : end_->write(buffer, count, written);
  }
  void close() override { end_->close(); }
  bool stands() const override { return end_->stands(); }
  void giveUp(const std::string& text) override { end_->giveUp(text); }
  std::string failure() const override { return end_->failure(); }

 private:
  const HOQChannelEndPtr end_;
  const Counted counted_;
};

class StruckChannel final : public HOQChannelPrototype {
 public:
  explicit StruckChannel(HOQChannelPtr channel)
      : channel_(std::move(channel)),
        source_(new StruckEnd(channel_->getSourceEnd())),
        destination_(new StruckEnd(channel_->getDestinationEnd())) {
    channel_->release();
  }

  HOQChannelEndPtr getSourceEnd() override { return source_; }
  HOQChannelEndPtr getDestinationEnd() override { return destination_; }
  void release() override {
    source_.reset();
    destination_.reset();
  }
  void giveUp(const std::string& text) override { channel_->giveUp(text); }
  std::string failure() override { return channel_->failure(); }

 private:
  const HOQChannelPtr channel_;
  HOQChannelEndPtr source_;
  HOQChannelEndPtr destination_;
  const Counted counted_;
};

class StruckConnector final : public HOQConnectorPrototype {
 public:
  HOQChannelPtr connect(const HOQConnectionInfo&) override {
    if (HaulWorld::current().strike("connect")) {
      HaulWorld::current().fail("no channel today");
      return HOQChannelPtr();
    }
    return HOQChannelPtr(new StruckChannel(newChannelMemory(HaulWorld::current().limits)));
  }

 private:
  const Counted counted_;
};

}  // namespace

HOQConnectorPtr newStruckConnector(const std::string& call) {
  if (!HaulWorld::current().strike(call)) return HOQConnectorPtr(new StruckConnector);
  HaulWorld::current().fail("no connector today");
  return HOQConnectorPtr();
}

}  // namespace HOQ::test
