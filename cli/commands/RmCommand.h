#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq rm`: removes items, links as links.
class RmCommand : public Command {
 public:
  const char* name() const override { return "rm"; }
  const char* arguments() const override { return "PATH..."; }
  const char* help() const override { return "remove files, links and directories"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  ExitStatus remove(Session& session, const std::string& typed);

  bool recursive_ = false;
  bool wildcards_ = false;
  bool noPreserveRoot_ = false;
};

}  // namespace HOQ::cli
