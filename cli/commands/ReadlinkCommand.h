#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq readlink`: prints what symbolic links record.
class ReadlinkCommand : public Command {
 public:
  const char* name() const override { return "readlink"; }
  const char* arguments() const override { return "PATH..."; }
  const char* help() const override { return "print what a symbolic link leads to"; }
  std::string notes() const override;
  std::vector<Option> options() override { return {}; }
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;
};

}  // namespace HOQ::cli
