#pragma once

#include <hoq/HOQChannelMemory.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQHaulControl.h>
#include <hoq/HOQHaulDeserializerPrototype.h>
#include <hoq/HOQHaulSerializerBaseAgentPrototype.h>
#include <hoq/HOQHaulSerializerBaseLocalPrototype.h>
#include <hoq/HOQHaulSerializerPrototype.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Transfers of one text, in the shape of the file's: ends, stand-ins and control as a plugin
// registers them, over a world of strings instead of a file system.
namespace HOQ::test {

/// What the fake ends find, leave and count. One at a time, made before the first of them; it
/// registers their factories under "" for as long as it lives.
class HaulWorld {
 public:
  HaulWorld();
  ~HaulWorld();
  HaulWorld(const HaulWorld&) = delete;
  HaulWorld& operator=(const HaulWorld&) = delete;

  static HaulWorld& current();

  std::string contents;               // what the sending end sends
  std::uint64_t announcedBeyond = 0;  // how much more than that it announces
  HOQChannelLimits limits;            // of the channels in memory

  /// Asked at every call of an end or a channel (any thread): whether the call fails.
  std::function<bool(const std::string& call)> strikes;
  bool looksAtChannel = true;  // the receiving end does, before it keeps what came whole
  bool saysWhy = true;         // a failing call sets the error text

  std::string received;  // by the last receiving end
  bool kept = false;     // what it received is there
  std::string why;       // it did not come whole, as the receiving end has it
  int ends = 0;          // made so far

  std::atomic<int> alive{0};     // ends, channels and their ends that were not destroyed
  std::atomic<int> unjoined{0};  // receivers destroyed with their thread running

  /// The calls so far, in order; those of the receiver's thread left out.
  std::vector<std::string> calls() const;

  bool strike(const std::string& call, bool noted = true);
  int fail(const std::string& text) const;

 private:
  mutable std::mutex mutex_;  // guards calls_ and the asking of `strikes`
  std::vector<std::string> calls_;
};

/// A member of what must be given back: counts its owner as alive.
class Counted {
 public:
  Counted() { ++HaulWorld::current().alive; }
  ~Counted() { --HaulWorld::current().alive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
};

/// The parameters of both ends.
struct FakeParams : HOQHaulSerializerBaseParams {
  static constexpr int kName = 1156;
  static constexpr int kOptions = 1260;
  static constexpr int kRegular = 1161;

  explicit FakeParams(std::string itemName = "item", bool isRegular = true)
      : name(std::move(itemName)), regular(isRegular) {}

  std::string name;
  bool regular;
};

/// The sending end in this process.
class FakeSerializer : public HOQHaulSerializerPrototype,
                       public HOQHaulSerializerBaseLocalPrototype {
 public:
  explicit FakeSerializer(HOQAccessProviderPtr access);
  ~FakeSerializer() override;

  int init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) override;
  int create() override;
  int copy(HOQChannelEndPtr end) override;
  int finish() override;
  HOQConnectorPtr createConnectorFromSelf() override;
  HOQHaulParamsPtr createParams() const override;
  std::vector<HOQRequiredElement> requiredElements() const override;
  int readParams(const HOQMessageIterator& it, HOQHaulSerializerBaseParams& params) const override;

 private:
  HOQChannelEndPtr end_;
};

/// The receiving end in this process.
class FakeDeserializer : public HOQHaulDeserializerPrototype,
                         public HOQHaulSerializerBaseLocalPrototype {
 public:
  explicit FakeDeserializer(HOQAccessProviderPtr access);
  ~FakeDeserializer() override;

  int init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) override;
  int create() override;
  int startCopying(HOQChannelEndPtr end) override;
  int waitCopyingFinish() override;
  int finish() override;
  HOQConnectorPtr createConnectorFromSelf() override;
  HOQHaulParamsPtr createParams() const override;
  std::vector<HOQRequiredElement> requiredElements() const override;
  int readParams(const HOQMessageIterator& it, HOQHaulSerializerBaseParams& params) const override;

 private:
  void receive();

  HOQChannelEndPtr end_;
  std::thread thread_;
  bool made_ = false;
  bool whole_ = false;
  std::string why_;  // it is not whole
};

/// Drives them as a file's transfer is driven.
class FakeControl : public HOQHaulControl {
 public:
  explicit FakeControl(HOQAccessProviderPtr access);

  int process() override;
  boost::intrusive_ptr<HOQHaulSerializerPrototype> createSerializer() override;
  boost::intrusive_ptr<HOQHaulDeserializerPrototype> createDeserializer() override;

  HOQEID srcEid;
  HOQEID dstEid;
  HOQAccessProviderPtr srcAccess;
  HOQAccessProviderPtr dstAccess;                               // empty: found by the connection
  std::function<void(HOQChannelPrototype& channel)> afterCopy;  // within process()
};

}  // namespace HOQ::test
