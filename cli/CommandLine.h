#pragma once

#include <string>
#include <vector>

#include "Session.h"

namespace HOQ::cli {

/// Runs the program on its arguments (its own name left out) and returns the exit status. Errors
/// have been told on standard error.
int runCommandLine(const std::vector<std::string>& arguments);

}  // namespace HOQ::cli
