#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <memory>
#include <string>

#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQRequestModificator.h>

#include "filer/HOQFilerLocal.h"
#include "support/CollectingHandler.h"
#include "transport/TestNodes.h"

namespace HOQ::test {

/// For as long as it lives, the process has a local Filer, as with the plugin; `Impl` may stand in.
template <class Impl = HOQFilerLocal>
class FilerFactory {
 public:
  using Ptr = boost::shared_ptr<HOQFiler>;
  FilerFactory() {
    filers().registerLocalFactory("",
                                  boost::make_shared<HOQFunctionalFactoryLocalImpl<Ptr, Impl>>());
  }
  ~FilerFactory() { filers().unregisterLocalFactory(""); }
  FilerFactory(const FilerFactory&) = delete;
  FilerFactory& operator=(const FilerFactory&) = delete;

 private:
  static auto& filers() {
    return HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer();
  }
};

/// A Filer of the node "node", whose news are collected.
template <class Impl = HOQFilerLocal>
class OnNode {
 public:
  explicit OnNode(const transport::NodeServerSettings& settings = nodeSettings(),
                  std::size_t messageBytes = 4 * 1024 * 1024) {
    nodes.add("node", settings);
    client = newClient(nodes, messageBytes);
    filer = newFiler();
  }

  boost::shared_ptr<transport::RemoteFiler> newFiler() {
    auto made = client->filer("node");
    HOQRequestModificator::of(*made).sync(handler, "");
    return made;
  }

  FilerFactory<Impl> factory;
  TestNodes nodes;
  std::unique_ptr<transport::NodeClient> client;
  const CollectingHandlerPtr handler{new CollectingHandler};
  boost::shared_ptr<transport::RemoteFiler> filer;
};

}  // namespace HOQ::test
