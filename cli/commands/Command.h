#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "ExitStatus.h"
#include "Session.h"

namespace HOQ::cli {

/// One option of a command: `names` as in "-l,--long", and where its value goes. Without
/// `valueName` it is a flag. A list takes one value each time the option stands.
struct Option {
  const char* names;
  const char* valueName;
  const char* help;
  std::variant<bool*, std::string*, std::vector<std::string>*> target;
  const char* choices = "";  // the values that it takes, with spaces between; empty: any
};

/// Each single name of the options: "-l", "--long".
std::vector<std::string> namesOf(const std::vector<Option>& options);

/// A command of the program. Made for one run.
class Command {
 public:
  virtual ~Command() = default;

  virtual const char* name() const = 0;
  /// What may follow, for the usage line.
  virtual const char* arguments() const = 0;
  virtual const char* help() const = 0;
  /// Text below the options, Examples last. Their lines run as they stand: "  $ hoq ...".
  virtual std::string notes() const = 0;
  virtual std::vector<Option> options() = 0;
  /// The words that the first argument is one of, with spaces between. Empty: it is a path.
  virtual std::string choices() const { return ""; }

  /// Does the work. Throws CommandError. `arguments` are what was no option.
  virtual ExitStatus run(Session& session, const std::vector<std::string>& arguments) = 0;
};

/// Every command, in the order of the help.
std::vector<std::unique_ptr<Command>> makeCommands();

}  // namespace HOQ::cli
