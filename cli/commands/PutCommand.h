#pragma once

#include "commands/ContentsCommand.h"

namespace HOQ::cli {

/// `hoq put`: copies files of the client's to the node.
class PutCommand : public ContentsCommand {
 public:
  PutCommand() : ContentsCommand(true) {}

  const char* name() const override { return "put"; }
  const char* arguments() const override { return "LOCAL... REMOTE"; }
  const char* help() const override { return "carry contents of own files to the node"; }
  std::string notes() const override;
};

}  // namespace HOQ::cli
