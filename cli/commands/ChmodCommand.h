#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq chmod`: changes permissions.
class ChmodCommand : public Command {
 public:
  const char* name() const override { return "chmod"; }
  const char* arguments() const override { return "MODE PATH..."; }
  const char* help() const override { return "change permissions"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  bool recursive_ = false;
  bool followLinks_ = false;
  bool wildcards_ = false;
};

}  // namespace HOQ::cli
