#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq stat`: everything that is known of named items.
class StatCommand : public Command {
 public:
  const char* name() const override { return "stat"; }
  const char* arguments() const override { return "PATH..."; }
  const char* help() const override { return "show everything that is known of items"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  bool followLinks_ = false;
  bool contentType_ = false;
};

}  // namespace HOQ::cli
