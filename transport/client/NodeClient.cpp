#include "NodeClient.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <memory>
#include <new>

#include "GrpcSetup.h"
#include "client/Link.h"
#include "client/RemoteAccess.h"
#include "client/RemoteFilerRequests.h"

namespace HOQ::transport {
namespace {

class LinkedNodeClient final : public NodeClient {
 public:
  LinkedNodeClient(Dialer& dialer, const NodeClientSettings& settings)
      : links_(std::make_shared<Links>(dialer, settings)), transport_(links_) {}

  boost::shared_ptr<RemoteFiler> filer(const std::string& address) override {
    return boost::make_shared<RemoteFilerRequests>(links_, address);
  }

  NodeOutcome info(const std::string& address, NodeInfo& info) override {
    NodeOutcome outcome;
    bool fresh = false;
    const LinkPtr link = links_->get(address, outcome, &fresh);
    if (!link) return outcome;
    outcome = link->info(info);
    // The first one also greets, which is no part of a round trip.
    if (fresh && outcome.failure == NodeFailure::kNone) outcome = link->info(info);
    return outcome;
  }

  HOQTransport& transport() override { return transport_; }
  void breakOff(const std::string& address) override { links_->breakOff(address); }
  void forget(const std::string& address) override { links_->forget(address); }

 private:
  const std::shared_ptr<Links> links_;
  RemoteTransport transport_;
};

}  // namespace

}  // namespace HOQ::transport

HOQ::transport::NodeClient* hoqNewNodeClient(HOQ::transport::Dialer* dialer,
                                             const HOQ::transport::NodeClientSettings* settings) {
  using namespace HOQ::transport;
  setUpGrpc();
  try {
    return new LinkedNodeClient(*dialer, settings != nullptr ? *settings : NodeClientSettings());
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
