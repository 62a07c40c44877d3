#pragma once

#include "commands/Command.h"
#include "contents/ContentsOptions.h"

namespace HOQ::cli {

/// What put and get have in common.
class ContentsCommand : public Command {
 public:
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 protected:
  explicit ContentsCommand(bool put) { options_.put = put; }

 private:
  ContentsOptions options_;
};

}  // namespace HOQ::cli
