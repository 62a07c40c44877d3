#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctionalMultiplexer.h>
#include <hoq/HOQFunctionality.h>

namespace HOQ {

class HOQHaulControl;
class HOQHaulDeserializerPrototype;
class HOQHaulSerializerPrototype;

/// The transfer objects that the framework knows: name, and the pointer they are held by.
/// A further one joins by one line.
#define HOQ_HAUL_FUNCTIONALS(FUNCTIONAL)                                       \
  FUNCTIONAL(FileControl, boost::shared_ptr<HOQHaulControl>)                   \
  FUNCTIONAL(FileSerializer, boost::intrusive_ptr<HOQHaulSerializerPrototype>) \
  FUNCTIONAL(FileDeserializer, boost::intrusive_ptr<HOQHaulDeserializerPrototype>)

/// The kit of the node-to-node transfers (hauls): one multiplexer for each kind of object, reached
/// through get<Name>Multiplexer(). Built in the table's order, destroyed in reverse.
class HOQ_EXPORT HOQHaulControlFactory {
 public:
  HOQHaulControlFactory();
  ~HOQHaulControlFactory();
  HOQHaulControlFactory(const HOQHaulControlFactory&) = delete;
  HOQHaulControlFactory& operator=(const HOQHaulControlFactory&) = delete;

  /// A transfer control that works in this process. Empty, with the error text set, when no
  /// factory is registered under `name`.
  boost::shared_ptr<HOQHaulControl> getFileControlLocal(HOQAccessProviderPtr access,
                                                        const std::string& name);

  /// The end of a file transfer in the environment `eid`: the local implementation where that is
  /// invalid or this process's own, else the stand-in that reaches it through `access`. Empty,
  /// with the error text set, when no factory of that sort is registered under `name`.
  boost::intrusive_ptr<HOQHaulSerializerPrototype> getFileSerializerAgent(
      const HOQEID& eid, HOQAccessProviderPtr access, const std::string& name);
  boost::intrusive_ptr<HOQHaulDeserializerPrototype> getFileDeserializerAgent(
      const HOQEID& eid, HOQAccessProviderPtr access, const std::string& name);

#define HOQ_GET_MULTIPLEXER(Name, ...) \
  HOQFunctionalMultiplexer<__VA_ARGS__>& get##Name##Multiplexer() { return m_##Name; }
  HOQ_HAUL_FUNCTIONALS(HOQ_GET_MULTIPLEXER)
#undef HOQ_GET_MULTIPLEXER

 private:
#define HOQ_MULTIPLEXER(Name, ...) HOQFunctionalMultiplexer<__VA_ARGS__> m_##Name{#Name};
  HOQ_HAUL_FUNCTIONALS(HOQ_MULTIPLEXER)
#undef HOQ_MULTIPLEXER
};

/// Initialised by libhoqframework, after the kit of the service functionals.
extern template class HOQFunctionality<HOQHaulControlFactory>;

}  // namespace HOQ
