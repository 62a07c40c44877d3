#include "support/HaulFakes.h"

#include <hoq/HOQAccessAgentPrototype.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQNodeIdentity.h>

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <utility>

#include "support/StruckChannel.h"

namespace HOQ::test {
namespace {

constexpr std::size_t kPiece = 4096;

HaulWorld* theWorld = nullptr;  // not owned

HOQHaulControlFactory& kit() { return HOQFunctionality<HOQHaulControlFactory>::kit(); }

int strike(const char* call) {
  return theWorld->strike(call) ? theWorld->fail(std::string(call) + " was struck") : 0;
}

int write(HOQChannelEndPrototype& end, const void* bytes, std::uint64_t count) {
  std::uint64_t written = 0;
  return end.write(bytes, count, &written);
}

std::vector<HOQRequiredElement> required() {
  using Kind = HOQMessageElement::Kind;
  return {{FakeParams::kName, Kind::kString},
          {FakeParams::kOptions, Kind::kChild},
          {HOQFilerOptions::kFlagsElement, Kind::kInt, FakeParams::kOptions}};
}

int readFake(const HOQMessageIterator& it, HOQHaulSerializerBaseParams& params) {
  auto& record = static_cast<FakeParams&>(params);
  (void)it.getString(record.name, FakeParams::kName);
  record.regular = it.find(FakeParams::kRegular) == 0;
  return 0;
}

int writeFake(HOQMessageIterator& it, const HOQHaulSerializerBaseParams& params) {
  const auto& record = static_cast<const FakeParams&>(params);
  (void)it.putString(record.name, FakeParams::kName);
  (void)it.putObj(HOQFilerOptions(0), FakeParams::kOptions);
  if (record.regular) (void)it.putEmpty(FakeParams::kRegular);
  return 0;
}

// The stand-ins for ends on another node.
class AgentSerializer final : public HOQHaulSerializerPrototype,
                              public HOQHaulSerializerBaseAgentPrototype {
 public:
  AgentSerializer(const HOQEID& eid, HOQAccessProviderPtr access)
      : HOQHaulSerializerBaseAgentPrototype(eid, std::move(access), "hoqfile_serializer", 0) {}

  int copy(HOQChannelEndPtr end) override { return callStageWithHandle("copy", std::move(end)); }
  int serializeParams(HOQHaulParamsPtr params, HOQMessageIterator* it) override {
    return writeFake(*it, *params);
  }
  int deserializeParams(const HOQMessageIterator* it, HOQHaulParamsPtr params) override {
    return readFake(*it, *params);
  }

 private:
  const Counted counted_;
};

class AgentDeserializer final : public HOQHaulDeserializerPrototype,
                                public HOQHaulSerializerBaseAgentPrototype {
 public:
  AgentDeserializer(const HOQEID& eid, HOQAccessProviderPtr access)
      : HOQHaulSerializerBaseAgentPrototype(eid, std::move(access), "hoqfile_deserializer", 0) {}

  int startCopying(HOQChannelEndPtr end) override {
    return callStageWithHandle("start_copying", std::move(end));
  }
  int waitCopyingFinish() override { return callStage("wait_copying_finish"); }
  int serializeParams(HOQHaulParamsPtr params, HOQMessageIterator* it) override {
    return writeFake(*it, *params);
  }
  int deserializeParams(const HOQMessageIterator* it, HOQHaulParamsPtr params) override {
    return readFake(*it, *params);
  }

 private:
  const Counted counted_;
};

template <class Result, class Local, class Agent>
void registerBoth(HOQFunctionalMultiplexer<Result>& factories) {
  factories.registerLocalFactory(
      "", boost::make_shared<HOQFunctionalFactoryLocalImpl<Result, Local>>());
  factories.registerAgentFactory(
      "", boost::make_shared<HOQFunctionalFactoryAgentImpl<Result, Agent>>());
}

template <class Multiplexer>
void unregisterBoth(Multiplexer& factories) {
  factories.unregisterLocalFactory("");
  factories.unregisterAgentFactory("");
}

using SerializerPtr = boost::intrusive_ptr<HOQHaulSerializerPrototype>;
using DeserializerPtr = boost::intrusive_ptr<HOQHaulDeserializerPrototype>;
using ControlPtr = boost::shared_ptr<HOQHaulControl>;

}  // namespace

HaulWorld::HaulWorld() {
  theWorld = this;
  kit().getFileControlMultiplexer().registerLocalFactory(
      "", boost::make_shared<HOQFunctionalFactoryLocalImpl<ControlPtr, FakeControl>>());
  registerBoth<SerializerPtr, FakeSerializer, AgentSerializer>(
      kit().getFileSerializerMultiplexer());
  registerBoth<DeserializerPtr, FakeDeserializer, AgentDeserializer>(
      kit().getFileDeserializerMultiplexer());
}

HaulWorld::~HaulWorld() {
  kit().getFileControlMultiplexer().unregisterLocalFactory("");
  unregisterBoth(kit().getFileSerializerMultiplexer());
  unregisterBoth(kit().getFileDeserializerMultiplexer());
  theWorld = nullptr;
}

HaulWorld& HaulWorld::current() { return *theWorld; }

bool HaulWorld::strike(const std::string& call, bool noted) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (noted) calls_.push_back(call);
  return strikes && strikes(call);
}

int HaulWorld::fail(const std::string& text) const {
  if (saysWhy) setErrorMessage("%s", text);
  return -1;
}

std::vector<std::string> HaulWorld::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

FakeSerializer::FakeSerializer(HOQAccessProviderPtr access)
    : HOQHaulSerializerBaseLocalPrototype(std::move(access)) {
  ++theWorld->alive;
  ++theWorld->ends;
}

FakeSerializer::~FakeSerializer() { --theWorld->alive; }

int FakeSerializer::init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) {
  const int struck = strike("sender init");
  return struck != 0 ? struck
                     : HOQHaulSerializerBaseLocalPrototype::init(connection, std::move(params));
}

int FakeSerializer::create() { return strike("sender create"); }

// Like the file's: once under way, a failure is told by the error text and the channel alone.
int FakeSerializer::copy(HOQChannelEndPtr end) {
  end_ = end;
  if (strike("copy") != 0) return -1;
  const std::string& contents = theWorld->contents;
  const std::uint64_t size = contents.size() + theWorld->announcedBeyond;
  if (write(*end, &size, sizeof size) != 0) return -1;
  for (std::size_t at = 0; at < contents.size(); at += kPiece) {
    const std::size_t count = std::min(kPiece, contents.size() - at);
    if (!theWorld->strike("get", false) && write(*end, contents.data() + at, count) == 0) continue;
    setErrorMessage("Cannot send the item");
    end->giveUp("Cannot send the item");
    return 0;
  }
  if (theWorld->announcedBeyond != 0) end->giveUp("There is no more of the item");
  return 0;
}

int FakeSerializer::finish() {
  end_.reset();
  return strike("sender finish");
}

HOQConnectorPtr FakeSerializer::createConnectorFromSelf() {
  return newStruckConnector("sender connector");
}

HOQHaulParamsPtr FakeSerializer::createParams() const { return boost::make_shared<FakeParams>(); }
std::vector<HOQRequiredElement> FakeSerializer::requiredElements() const { return required(); }
int FakeSerializer::readParams(const HOQMessageIterator& it,
                               HOQHaulSerializerBaseParams& params) const {
  return readFake(it, params);
}

FakeDeserializer::FakeDeserializer(HOQAccessProviderPtr access)
    : HOQHaulSerializerBaseLocalPrototype(std::move(access)) {
  ++theWorld->alive;
  ++theWorld->ends;
}

FakeDeserializer::~FakeDeserializer() {
  if (thread_.joinable()) {
    ++theWorld->unjoined;
    thread_.join();
  }
  --theWorld->alive;
}

int FakeDeserializer::init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) {
  const int struck = strike("receiver init");
  return struck != 0 ? struck
                     : HOQHaulSerializerBaseLocalPrototype::init(connection, std::move(params));
}

int FakeDeserializer::create() { return strike("receiver create"); }

int FakeDeserializer::startCopying(HOQChannelEndPtr end) {
  if (strike("start") != 0) return -1;
  end_ = std::move(end);
  theWorld->received.clear();
  theWorld->kept = made_ = true;
  whole_ = !static_cast<const FakeParams&>(*getParams()).regular;
  if (!whole_) thread_ = std::thread([this] { receive(); });
  return 0;
}

void FakeDeserializer::receive() {
  std::uint64_t size = 0;
  std::uint64_t got = 0;
  std::string piece(kPiece, '\0');
  const char* why = "The item did not come whole";
  if (end_->read(&size, sizeof size, &got) == 0 && got == sizeof size) {
    while (theWorld->received.size() < size && end_->read(piece.data(), piece.size(), &got) == 0 &&
           got > 0) {
      if (theWorld->strike("put", false)) {
        why = "The item cannot be kept";
        break;
      }
      theWorld->received.append(piece, 0, got);
    }
    whole_ = theWorld->received.size() == size;
  }
  if (whole_) return;
  end_->giveUp(why);
  theWorld->why = why_ = end_->failure();
}

int FakeDeserializer::waitCopyingFinish() {
  if (strike("wait") != 0) return -1;
  thread_.join();
  if (!whole_) setErrorMessage("%s", why_);
  return 0;
}

int FakeDeserializer::finish() {
  if (thread_.joinable()) thread_.join();  // whoever ends the transfer has given the channel up
  const int struck = strike("receiver finish");
  const bool failed = !whole_ || (theWorld->looksAtChannel && !end_->failure().empty());
  if (std::exchange(made_, false) && failed) {
    theWorld->kept = false;
    return theWorld->fail(why_);
  }
  return struck;
}

HOQConnectorPtr FakeDeserializer::createConnectorFromSelf() {
  return newStruckConnector("receiver connector");
}

HOQHaulParamsPtr FakeDeserializer::createParams() const { return boost::make_shared<FakeParams>(); }
std::vector<HOQRequiredElement> FakeDeserializer::requiredElements() const { return required(); }
int FakeDeserializer::readParams(const HOQMessageIterator& it,
                                 HOQHaulSerializerBaseParams& params) const {
  return readFake(it, params);
}

FakeControl::FakeControl(HOQAccessProviderPtr access) : HOQHaulControl(std::move(access)) {
  srcAccess = getAccess();
}

SerializerPtr FakeControl::createSerializer() {
  if (theWorld->strike("make sender")) return SerializerPtr();
  return kit().getFileSerializerAgent(srcEid, srcAccess, "");
}

DeserializerPtr FakeControl::createDeserializer() {
  if (connection.target.empty() || theWorld->strike("make receiver")) return DeserializerPtr();
  if (!dstAccess && checkConnectionParams(connection, dstEid) == 0) dstAccess = localAccess();
  if (!dstAccess) {
    const HOQAccessAgentPtr agent =
        HOQAccessAgentPrototype::createInstance(nullptr, nullptr, nullptr);
    if (!agent || agent->initializeSync(connection, getProgressHandler()) != 0)
      return DeserializerPtr();
    dstEid = agent->getEID();
    dstAccess = agent;
  }
  return kit().getFileDeserializerAgent(dstEid, dstAccess, "");
}

int FakeControl::process() {
  const HOQChannelPtr channel = connector->connect(connection);
  if (!channel) return -1;
  HOQRequestModificator::of(*deserializer).sync(getProgressHandler(), "");
  if (deserializer->startCopying(channel->getDestinationEnd()) != 0) return -2;
  if (!static_cast<const FakeParams&>(*deserializer->getParams()).regular) return 0;
  HOQRequestModificator::of(*serializer).sync(getProgressHandler(), "");
  if (serializer->copy(channel->getSourceEnd()) != 0) return -3;
  if (afterCopy) afterCopy(*channel);
  return deserializer->waitCopyingFinish() == 0 ? 0 : -4;
}

}  // namespace HOQ::test
