#pragma once

#include <hoq/HOQHaulSerializerBaseAgentPrototype.h>

#include "haul/HOQFileDeserializerPrototype.h"

namespace HOQ {

/// Stands for the receiving end on another node.
class HOQFileDeserializerAgentPrototype : public HOQFileDeserializerPrototype,
                                          public HOQHaulSerializerBaseAgentPrototype {
 public:
  HOQFileDeserializerAgentPrototype(const HOQEID& eid, HOQAccessProviderPtr access);
  ~HOQFileDeserializerAgentPrototype() override;

  int startCopying(HOQChannelEndPtr end) override;
  int waitCopyingFinish() override;
  /// The parameters must be of this end's kind.
  int serializeParams(HOQHaulParamsPtr params, HOQMessageIterator* it) override;
  int deserializeParams(const HOQMessageIterator* it, HOQHaulParamsPtr params) override;
};

}  // namespace HOQ
