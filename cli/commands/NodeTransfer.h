#pragma once

#include <memory>
#include <string>
#include <vector>

#include "commands/EachPath.h"
#include "commands/Lookup.h"
#include "commands/Transfer.h"
#include "contents/Interruption.h"
#include "node/NodeTarget.h"
#include "progress/TransferProgress.h"

namespace HOQ::cli {

/// One run of cp to another node: the session's node sends each source there by a request of its
/// own. A directory whose destination is not there yet arrives in a temporary directory beside it
/// and is moved into place whole.
class NodeTransfer {
 public:
  /// `session` is not owned.
  NodeTransfer(Session& session, const TransferOptions& options, NodeTarget target);

  ExitStatus run(const std::vector<std::string>& sources);

 private:
  enum class Kind { kMissing, kDirectory, kOther };

  void examineTarget();
  RecordPtr examine(const std::string& path, int options);
  Kind kindOf(const std::string& path);
  std::string linkText(const std::string& path);
  void checkTarget(const std::vector<Named>& named);
  ExitStatus carry(const Named& named);
  ExitStatus send(const Named& named, const Place& place, const std::string& destination);
  ExitStatus sendIntoPlace(const Named& named);
  ExitStatus sendInto(const std::string& temporary, const Named& named, const Place& place,
                      Interruption& interruption);
  void abandon(const std::string& temporary);
  ExitStatus moveIntoPlace(const std::string& arrived);
  ExitStatus reported(int code, const std::string& typed);
  boost::shared_ptr<HOQFiler> there();

  Session& session_;
  const TransferOptions options_;
  const NodeTarget target_;
  Lookup lookup_;
  TransferProgress progress_;
  std::unique_ptr<Node> node_;  // the target's, reached from here; empty: it cannot be
  Kind kind_ = Kind::kDirectory;
  std::string destination_;                     // the directory itself where a link leads to it
  const Interruption* interruption_ = nullptr;  // while there is something to tidy up
};

}  // namespace HOQ::cli
