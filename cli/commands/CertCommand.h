#pragma once

#include "commands/Command.h"

namespace HOQ::cli {

/// `hoq cert`: makes a certificate authority, and certificates that it vouches for.
class CertCommand : public Command {
 public:
  const char* name() const override { return "cert"; }
  const char* arguments() const override { return "ca | issue NAME"; }
  const char* help() const override {
    return "make a certificate authority, and certificates for nodes and clients";
  }
  std::string notes() const override;
  std::vector<Option> options() override;
  std::string choices() const override { return "ca issue"; }
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  ExitStatus makeAuthority(Session& session, const std::vector<std::string>& arguments);
  ExitStatus issue(Session& session, const std::vector<std::string>& arguments);

  std::string out_;
  std::string authority_;
  std::vector<std::string> hosts_;
  std::string days_;
};

}  // namespace HOQ::cli
