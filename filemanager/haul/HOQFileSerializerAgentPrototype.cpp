#include "haul/HOQFileSerializerAgentPrototype.h"

#include <utility>

#include "haul/HOQFileSerializerParams.h"

namespace HOQ {
namespace {

// What the other node dispatches on.
constexpr char kFunctional[] = "hoqfile_serializer";
constexpr char kCopy[] = "copy";

}  // namespace

HOQFileSerializerAgentPrototype::HOQFileSerializerAgentPrototype(const HOQEID& eid,
                                                                 HOQAccessProviderPtr access)
    : HOQHaulSerializerBaseAgentPrototype(eid, std::move(access), kFunctional, 0) {}

HOQFileSerializerAgentPrototype::~HOQFileSerializerAgentPrototype() = default;

int HOQFileSerializerAgentPrototype::copy(HOQChannelEndPtr end) {
  return callStageWithHandle(kCopy, std::move(end));
}

int HOQFileSerializerAgentPrototype::serializeParams(HOQHaulParamsPtr params,
                                                     HOQMessageIterator* it) {
  return it->putObj(static_cast<const HOQFileSerializerParams&>(*params));
}

int HOQFileSerializerAgentPrototype::deserializeParams(const HOQMessageIterator* it,
                                                       HOQHaulParamsPtr params) {
  return it->getObj(static_cast<HOQFileSerializerParams&>(*params));
}

}  // namespace HOQ
