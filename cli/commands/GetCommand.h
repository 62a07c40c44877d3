#pragma once

#include "commands/ContentsCommand.h"

namespace HOQ::cli {

/// `hoq get`: copies files of the node to the client.
class GetCommand : public ContentsCommand {
 public:
  GetCommand() : ContentsCommand(false) {}

  const char* name() const override { return "get"; }
  const char* arguments() const override { return "REMOTE... LOCAL"; }
  const char* help() const override { return "fetch contents of the node's files"; }
  std::string notes() const override;
};

}  // namespace HOQ::cli
