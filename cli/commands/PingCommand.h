#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq ping`: who a node is, and who it takes us for.
class PingCommand : public Command {
 public:
  const char* name() const override { return "ping"; }
  const char* arguments() const override { return ""; }
  const char* help() const override {
    return "ask a node for its version, identity, rights and clock";
  }
  std::string notes() const override;
  std::vector<Option> options() override { return {}; }
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;
};

}  // namespace HOQ::cli
