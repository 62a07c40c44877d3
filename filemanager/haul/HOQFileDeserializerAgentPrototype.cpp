#include "haul/HOQFileDeserializerAgentPrototype.h"

#include <utility>

#include "haul/HOQFileDeserializerParams.h"

namespace HOQ {
namespace {

// What the other node dispatches on.
constexpr char kFunctional[] = "hoqfile_deserializer";
constexpr char kStartCopying[] = "start_copying";
constexpr char kWaitCopyingFinish[] = "wait_copying_finish";

}  // namespace

HOQFileDeserializerAgentPrototype::HOQFileDeserializerAgentPrototype(const HOQEID& eid,
                                                                     HOQAccessProviderPtr access)
    : HOQHaulSerializerBaseAgentPrototype(eid, std::move(access), kFunctional, 0) {}

HOQFileDeserializerAgentPrototype::~HOQFileDeserializerAgentPrototype() = default;

int HOQFileDeserializerAgentPrototype::startCopying(HOQChannelEndPtr end) {
  return callStageWithHandle(kStartCopying, std::move(end));
}

int HOQFileDeserializerAgentPrototype::waitCopyingFinish() { return callStage(kWaitCopyingFinish); }

int HOQFileDeserializerAgentPrototype::serializeParams(HOQHaulParamsPtr params,
                                                       HOQMessageIterator* it) {
  return it->putObj(static_cast<const HOQFileDeserializerParams&>(*params));
}

int HOQFileDeserializerAgentPrototype::deserializeParams(const HOQMessageIterator* it,
                                                         HOQHaulParamsPtr params) {
  return it->getObj(static_cast<HOQFileDeserializerParams&>(*params));
}

}  // namespace HOQ
