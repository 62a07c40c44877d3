#pragma once

#include <hoq/HOQHaulSerializerBaseAgentPrototype.h>

#include "haul/HOQFileSerializerPrototype.h"

namespace HOQ {

/// Stands for the sending end on another node.
class HOQFileSerializerAgentPrototype : public HOQFileSerializerPrototype,
                                        public HOQHaulSerializerBaseAgentPrototype {
 public:
  HOQFileSerializerAgentPrototype(const HOQEID& eid, HOQAccessProviderPtr access);
  ~HOQFileSerializerAgentPrototype() override;

  int copy(HOQChannelEndPtr end) override;
  /// The parameters must be of this end's kind.
  int serializeParams(HOQHaulParamsPtr params, HOQMessageIterator* it) override;
  int deserializeParams(const HOQMessageIterator* it, HOQHaulParamsPtr params) override;
};

}  // namespace HOQ
