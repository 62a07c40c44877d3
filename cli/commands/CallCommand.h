#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq call`: one operation exactly as the Filer takes it, from JSON to JSON.
class CallCommand : public Command {
 public:
  const char* name() const override { return "call"; }
  const char* arguments() const override { return "OPERATION"; }
  const char* help() const override {
    return "perform one operation: a JSON object from standard input, one to standard output";
  }
  std::string notes() const override;
  std::vector<Option> options() override;
  std::string choices() const override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  std::string rights_;
};

}  // namespace HOQ::cli
