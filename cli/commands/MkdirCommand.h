#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq mkdir`: makes directories.
class MkdirCommand : public Command {
 public:
  const char* name() const override { return "mkdir"; }
  const char* arguments() const override { return "PATH..."; }
  const char* help() const override { return "make directories"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  ExitStatus make(Session& session, const std::string& typed);

  bool parents_ = false;
};

}  // namespace HOQ::cli
