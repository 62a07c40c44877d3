#pragma once

#include "Conditions.h"
#include "commands/Command.h"
#include "commands/Expansion.h"
#include "commands/Lookup.h"
#include "listing/Listing.h"

namespace HOQ::cli {

/// `hoq ls`: entries of directories, trees, patterns.
class LsCommand : public Command {
 public:
  const char* name() const override { return "ls"; }
  const char* arguments() const override { return "[PATH...]"; }
  const char* help() const override { return "list directories"; }
  std::string notes() const override;
  std::vector<Option> options() override;
  ExitStatus run(Session& session, const std::vector<std::string>& arguments) override;

 private:
  struct Run;

  View viewOf(Session& session) const;
  int requestOptions() const;
  unsigned requestFields(bool json) const;

  bool all_ = false;
  bool long_ = false;
  bool human_ = false;
  bool recursive_ = false;
  bool followLinks_ = false;
  bool wildcards_ = false;
  bool sumSizes_ = false;
  bool oneFileSystem_ = false;
  std::vector<std::string> filters_;
};

}  // namespace HOQ::cli
