#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "Node.h"
#include "node/Network.h"

namespace HOQ::cli {

/// Another node, reached over the network. Its Filers may be used by any thread, each by one at a
/// time.
class RemoteNode : public Node {
 public:
  /// Connects and asks the node who it is. Throws CommandError(kExitNoNode) when it cannot be
  /// reached or trusted. `network` is not owned.
  RemoteNode(Network& network, const std::string& address);

  boost::shared_ptr<HOQFiler> filer(const std::string& directory,
                                    HOQRequestHandlerPtr handler) override;
  std::unique_ptr<Stay> enter() override { return nullptr; }
  bool lost() const override { return *lost_; }

  /// What it said of itself when it was asked first.
  const transport::NodeInfo& info() const { return info_; }

 private:
  Network& network_;
  const std::string address_;
  transport::NodeInfo info_;
  const std::shared_ptr<std::atomic<bool>> lost_;  // also held by the Filers that are about
};

}  // namespace HOQ::cli
