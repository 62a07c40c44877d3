#pragma once

#include <memory>
#include <string>

#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQPluginLoader.h>

#include "Node.h"

namespace HOQ::cli {

/// What the caller of a local node may do.
struct Rights {
  bool read = true;
  bool change = true;
};

/// This node, served in this process by the file-manager plugin. The making thread holds the
/// rights as long as the node lives.
class LocalNode : public Node {
 public:
  /// Loads the plugin `file`, or the one that belongs to this program when it is empty. Throws
  /// CommandError(kExitFailed) with a line that says which file and why.
  LocalNode(const std::string& file, Rights rights);

  boost::shared_ptr<HOQFiler> filer(const std::string& directory,
                                    HOQRequestHandlerPtr handler) override;
  std::unique_ptr<Stay> enter() override;

 private:
  HOQPluginLoader loader_;
  const HOQAccessChecker::ClientContextPtr client_;
  HOQAccessChecker::Scope scope_;
};

}  // namespace HOQ::cli
