#pragma once

#include <boost/smart_ptr/make_shared.hpp>

#include <hoq/HOQHaulControlFactory.h>

#include "haul/HOQFileControl.h"
#include "haul/HOQFileDeserializerAgentPrototype.h"
#include "haul/HOQFileDeserializerLocalPrototype.h"
#include "haul/HOQFileSerializerAgentPrototype.h"
#include "haul/HOQFileSerializerLocalPrototype.h"

namespace HOQ::test {

/// For as long as it lives, the process knows the factories of file transfers, as with the plugin.
/// A control or a receiving end of another kind may stand in.
template <class Control = HOQFileControl, class Deserializer = HOQFileDeserializerLocalPrototype>
class TransferFactories {
 public:
  TransferFactories() {
    controls().registerLocalFactory("", boost::make_shared<Local<ControlPtr, Control>>());
    serializers().registerLocalFactory(
        "", boost::make_shared<Local<SerializerPtr, HOQFileSerializerLocalPrototype>>());
    deserializers().registerLocalFactory(
        "", boost::make_shared<Local<DeserializerPtr, Deserializer>>());
    serializers().registerAgentFactory(
        "", boost::make_shared<Agent<SerializerPtr, HOQFileSerializerAgentPrototype>>());
    deserializers().registerAgentFactory(
        "", boost::make_shared<Agent<DeserializerPtr, HOQFileDeserializerAgentPrototype>>());
  }
  ~TransferFactories() {
    controls().unregisterLocalFactory("");
    serializers().unregisterLocalFactory("");
    deserializers().unregisterLocalFactory("");
    serializers().unregisterAgentFactory("");
    deserializers().unregisterAgentFactory("");
  }
  TransferFactories(const TransferFactories&) = delete;
  TransferFactories& operator=(const TransferFactories&) = delete;

 private:
  using ControlPtr = boost::shared_ptr<HOQHaulControl>;
  using SerializerPtr = boost::intrusive_ptr<HOQHaulSerializerPrototype>;
  using DeserializerPtr = boost::intrusive_ptr<HOQHaulDeserializerPrototype>;
  template <class Result, class Impl>
  using Local = HOQFunctionalFactoryLocalImpl<Result, Impl>;
  template <class Result, class Impl>
  using Agent = HOQFunctionalFactoryAgentImpl<Result, Impl>;

  static HOQHaulControlFactory& kit() { return HOQFunctionality<HOQHaulControlFactory>::kit(); }
  static auto& controls() { return kit().getFileControlMultiplexer(); }
  static auto& serializers() { return kit().getFileSerializerMultiplexer(); }
  static auto& deserializers() { return kit().getFileDeserializerMultiplexer(); }
};

}  // namespace HOQ::test
