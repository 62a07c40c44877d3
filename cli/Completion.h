#pragma once

#include <memory>
#include <string>
#include <vector>

#include "commands/Command.h"

namespace HOQ::cli {

/// What `shell` reads to complete command lines of hoq, made of the tables of commands and options.
/// Empty for a shell that is not known.
std::string completionText(const std::string& shell,
                           const std::vector<std::unique_ptr<Command>>& commands,
                           const std::vector<Option>& globalOptions);

}  // namespace HOQ::cli
