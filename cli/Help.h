#pragma once

#include <memory>
#include <string>
#include <vector>

#include "commands/Command.h"

namespace HOQ::cli {

/// What `hoq --help` and `hoq COMMAND --help` print.
std::string programHelp(const std::vector<std::unique_ptr<Command>>& commands,
                        const std::vector<Option>& globalOptions);
std::string commandHelp(Command& command);

}  // namespace HOQ::cli
