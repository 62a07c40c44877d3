#pragma once

#include "commands/Command.h"
#include "commands/Transfer.h"

namespace HOQ::cli {

/// `hoq mv`: moves items and trees.
class MvCommand : public Command {
 public:
  const char* name() const override { return "mv"; }
  const char* arguments() const override { return "SRC... DST"; }
  const char* help() const override { return "move or rename items"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  TransferOptions options_{true};
};

}  // namespace HOQ::cli
