#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq ln`: makes a link.
class LnCommand : public Command {
 public:
  const char* name() const override { return "ln"; }
  const char* arguments() const override { return "TARGET NAME"; }
  const char* help() const override { return "make a hard or symbolic link"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  bool symbolic_ = false;
};

}  // namespace HOQ::cli
