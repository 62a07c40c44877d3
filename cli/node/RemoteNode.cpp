#include "node/RemoteNode.h"

#include <utility>

#include <hoq/HOQRequestModificator.h>

#include "ExitStatus.h"

namespace HOQ::cli {

RemoteNode::RemoteNode(Network& network, const std::string& address)
    : network_(network), address_(address), lost_(std::make_shared<std::atomic<bool>>(false)) {
  const transport::NodeOutcome outcome = network_.client().info(address_, info_);
  if (outcome.failure != transport::NodeFailure::kNone)
    throw CommandError(kExitNoNode, outcome.text);
}

boost::shared_ptr<HOQFiler> RemoteNode::filer(const std::string& directory,
                                              HOQRequestHandlerPtr handler) {
  boost::shared_ptr<transport::RemoteFiler> remote = network_.client().filer(address_);
  HOQFiler* const filer = remote.get();
  HOQRequestModificator::of(*filer).sync(std::move(handler), "");
  filer->setCwd(directory);
  // Whoever lets the Filer go has made its last request.
  const auto letGo = [remote, lost = lost_](HOQFiler*) mutable {
    if (remote->failure() != transport::NodeFailure::kNone) *lost = true;
    remote.reset();
  };
  return boost::shared_ptr<HOQFiler>(filer, letGo);
}

}  // namespace HOQ::cli
