#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq completion`: what a shell needs to complete command lines of this program.
class CompletionCommand : public Command {
 public:
  const char* name() const override { return "completion"; }
  const char* arguments() const override { return "bash | zsh | fish"; }
  const char* help() const override { return "print what completes hoq's arguments in a shell"; }
  std::string notes() const override;
  std::vector<Option> options() override { return {}; }
  std::string choices() const override { return "bash zsh fish"; }
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;
};

}  // namespace HOQ::cli
