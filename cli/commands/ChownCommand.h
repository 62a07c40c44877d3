#pragma once

#include "OwnerText.h"
#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq chown`: changes owners.
class ChownCommand : public Command {
 public:
  const char* name() const override { return "chown"; }
  const char* arguments() const override { return "OWNER PATH..."; }
  const char* help() const override { return "change owners"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  bool recursive_ = false;
  bool followLinks_ = false;
  bool wildcards_ = false;
};

}  // namespace HOQ::cli
