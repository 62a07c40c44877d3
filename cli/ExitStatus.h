#pragma once

#include <stdexcept>
#include <string>

namespace HOQ::cli {

/// What the program's end says to the shell.
enum ExitStatus : int {
  kExitDone = 0,
  kExitFailed = 1,   // the operation failed, or part of it
  kExitUsage = 2,    // wrong usage; nothing was done
  kExitNoNode = 3,   // the node cannot be reached or does not trust us
  kExitRefused = 4,  // the node refused access
};

/// Ends the program: one line for standard error, and the status.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitStatus exitStatus, const std::string& line)
      : std::runtime_error(line), status(exitStatus) {}

  const ExitStatus status;
};

}  // namespace HOQ::cli
