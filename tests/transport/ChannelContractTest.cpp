// The channel's contract over ends at the two sides of a stream.
#include "support/ChannelContract.h"

#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQHaulDeserializerPrototype.h>
#include <hoq/HOQHaulSerializerBaseLocalPrototype.h>
#include <hoq/HOQHaulSerializerPrototype.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "transport/TestNodes.h"

namespace HOQ::test {
namespace {

/// What holds a stage up.
class Gate {
 public:
  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  void pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

/// The end that a stage was handed last, until the test takes it.
class Handed {
 public:
  struct End {
    HOQChannelEndPtr end;
    std::shared_ptr<Gate> gate;
  };
  static Handed& current() {
    static Handed handed;
    return handed;
  }
  std::shared_ptr<Gate> put(HOQChannelEndPtr end) {
    const std::lock_guard<std::mutex> lock(mutex_);
    handed_ = {std::move(end), std::make_shared<Gate>()};
    changed_.notify_all();
    return handed_.gate;
  }
  End take() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return handed_.end != nullptr; });
    return std::exchange(handed_, End());
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  End handed_;
};

class NoParams : public HOQHaulSerializerBaseParams {};

class LocalEnd : public HOQHaulSerializerBaseLocalPrototype {
 public:
  using HOQHaulSerializerBaseLocalPrototype::HOQHaulSerializerBaseLocalPrototype;
  HOQHaulParamsPtr createParams() const override { return boost::make_shared<NoParams>(); }
  std::vector<HOQRequiredElement> requiredElements() const override { return {}; }
  int readParams(const HOQMessageIterator&, HOQHaulSerializerBaseParams&) const override {
    return 0;
  }
};

class HandingDeserializer : public HOQHaulDeserializerPrototype, public LocalEnd {
 public:
  explicit HandingDeserializer(HOQAccessProviderPtr access) : LocalEnd(std::move(access)) {}
  int startCopying(HOQChannelEndPtr end) override {
    (void)Handed::current().put(std::move(end));  // this stage does not wait
    return 0;
  }
  int waitCopyingFinish() override { return 0; }
};

class HandingSerializer : public HOQHaulSerializerPrototype, public LocalEnd {
 public:
  explicit HandingSerializer(HOQAccessProviderPtr access) : LocalEnd(std::move(access)) {}
  int copy(HOQChannelEndPtr end) override {
    Handed::current().put(std::move(end))->pass();
    return 0;
  }
};

/// The node's end in the test's hands. The node itself holds the end as long as the transfer goes
/// on, so whoever leaves early gives it up, as a receiver or sender does.
class BorrowedEnd : public HOQChannelEndPrototype {
 public:
  explicit BorrowedEnd(HOQChannelEndPtr end) : end_(std::move(end)) {}
  ~BorrowedEnd() override { leave(); }
  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    return end_->read(buffer, count, got);
  }
  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    return end_->write(buffer, count, written);
  }
  void close() override {
    end_->close();
    closed_ = true;
  }
  bool stands() const override { return end_->stands(); }
  void giveUp(const std::string& text) override { end_->giveUp(text); }
  std::string failure() const override { return end_->failure(); }

 private:
  void leave() {
    if (!closed_) end_->giveUp("its holder has left");
  }

  const HOQChannelEndPtr end_;
  bool closed_ = false;
};

/// The process knows the ends above for as long as one of these lives. One thread.
class Factories {
 public:
  Factories() {
    if (count_++ > 0) return;
    kit().getFileDeserializerMultiplexer().registerLocalFactory(
        "", boost::make_shared<HOQFunctionalFactoryLocalImpl<
                boost::intrusive_ptr<HOQHaulDeserializerPrototype>, HandingDeserializer>>());
    kit().getFileSerializerMultiplexer().registerLocalFactory(
        "", boost::make_shared<HOQFunctionalFactoryLocalImpl<
                boost::intrusive_ptr<HOQHaulSerializerPrototype>, HandingSerializer>>());
  }
  ~Factories() {
    if (--count_ > 0) return;
    kit().getFileDeserializerMultiplexer().unregisterLocalFactory("");
    kit().getFileSerializerMultiplexer().unregisterLocalFactory("");
  }
  Factories(const Factories&) = delete;
  Factories& operator=(const Factories&) = delete;

 private:
  static HOQHaulControlFactory& kit() { return HOQFunctionality<HOQHaulControlFactory>::kit(); }
  static inline int count_ = 0;
};

/// A node, a session with it, and what the ends need beside them.
struct Setting {
  Setting(const HOQChannelLimits& limits, const char* functional) {
    before = channelLimits();
    setChannelLimits(limits);
    transport::NodeServerSettings settings = nodeSettings();
    settings.idle = limits.idle;
    nodes.add("node", settings);
    client = newClient(nodes);
    const HOQAccessAgentPtr agent = client->transport().createAgent();
    EXPECT_EQ(agent->initializeSync(HOQConnectionInfo{"node"}, nullptr), 0);
    session = agent->openSession(functional);
    EXPECT_EQ(session->create(HOQMessage()), 0);
    channel = session->connector()->connect(HOQConnectionInfo());
  }
  ~Setting() {
    if (gate) gate->open();
    if (stage.joinable()) stage.join();
    channel.reset();
    session.reset();
    client.reset();
    nodes.remove("node");
    setChannelLimits(before);
  }

  Factories factories;
  HOQChannelLimits before;
  TestNodes nodes;
  std::unique_ptr<transport::NodeClient> client;
  HOQStageSessionPtr session;
  HOQChannelPtr channel;
  std::shared_ptr<Gate> gate;
  std::thread stage;
};

OpenChannel openToNode(const HOQChannelLimits& limits) {
  std::shared_ptr<Setting> setting;
  // The stage itself may take longer than the shortest limits allow.
  do {
    setting = std::make_shared<Setting>(limits, "hoqfile_deserializer");
  } while (setting->session->callWithHandle("start_copying",
                                            setting->channel->getDestinationEnd()) != 0);
  OpenChannel open;
  open.source = setting->channel->getSourceEnd();
  open.destination = HOQChannelEndPtr(new BorrowedEnd(Handed::current().take().end));
  setting->channel->release();
  open.rest = setting;
  return open;
}

OpenChannel openFromNode(const HOQChannelLimits& limits) {
  const auto setting = std::make_shared<Setting>(limits, "hoqfile_serializer");
  OpenChannel open;
  open.destination = setting->channel->getDestinationEnd();
  setting->stage = std::thread([raw = setting.get(), end = setting->channel->getSourceEnd()] {
    (void)raw->session->callWithHandle("copy", end);  // it ends as the test wants it
  });
  const Handed::End handed = Handed::current().take();
  setting->gate = handed.gate;
  open.source = HOQChannelEndPtr(new BorrowedEnd(handed.end));
  setting->channel->release();
  open.rest = setting;
  return open;
}

constexpr std::size_t kBound = std::size_t{8} << 20;  // windows, frames and what waits to be read

INSTANTIATE_TEST_SUITE_P(Network, ChannelContract,
                         testing::Values(ChannelKind{"toNode", openToNode, kBound},
                                         ChannelKind{"fromNode", openFromNode, kBound}),
                         [](const auto& one) { return one.param.name; });

}  // namespace
}  // namespace HOQ::test
