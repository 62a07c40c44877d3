#pragma once

#include "commands/Command.h"
#include "commands/Transfer.h"

namespace HOQ::cli {

/// `hoq cp`: copies items and trees.
class CpCommand : public Command {
 public:
  const char* name() const override { return "cp"; }
  const char* arguments() const override { return "SRC... DST"; }
  const char* help() const override { return "copy files, links and trees"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  TransferOptions options_;
  std::string to_;
};

}  // namespace HOQ::cli
