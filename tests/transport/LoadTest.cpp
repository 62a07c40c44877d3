// The library as a program uses it that loads it by name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>

#include "transport/NodeClient.h"

namespace HOQ::transport {
namespace {

class NoWay : public Dialer {
 public:
  Dialled dial(const std::string&) override { return {-1, NodeFailure::kUntrusted, "no way"}; }
};

TEST(TransportLibrary, IsLoadedWhenItIsNeededAndGivesAClient) {
  void* const library = ::dlopen(HOQ_TRANSPORT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  const auto make = reinterpret_cast<NewNodeClient>(::dlsym(library, kNewNodeClient));
  ASSERT_NE(make, nullptr) << ::dlerror();
  NoWay dialer;
  const std::unique_ptr<NodeClient> client(make(&dialer, nullptr));
  ASSERT_NE(client, nullptr);
  NodeInfo info;
  EXPECT_EQ(client->info("node", info).failure, NodeFailure::kUntrusted);
  const boost::shared_ptr<RemoteFiler> remote = client->filer("node");
  const boost::shared_ptr<HOQFiler> filer = remote;
  EXPECT_EQ(filer->remove({"x"}, 0), -1);
  EXPECT_EQ(remote->failure(), NodeFailure::kUntrusted);
}

}  // namespace
}  // namespace HOQ::transport
