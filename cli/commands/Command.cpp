#include "commands/Command.h"

#include <algorithm>

#include "commands/CallCommand.h"
#include "commands/CertCommand.h"
#include "commands/ChmodCommand.h"
#include "commands/ChownCommand.h"
#include "commands/CompletionCommand.h"
#include "commands/CpCommand.h"
#include "commands/GetCommand.h"
#include "commands/LnCommand.h"
#include "commands/LsCommand.h"
#include "commands/MkdirCommand.h"
#include "commands/MvCommand.h"
#include "commands/PingCommand.h"
#include "commands/PutCommand.h"
#include "commands/ReadlinkCommand.h"
#include "commands/RmCommand.h"
#include "commands/StatCommand.h"

namespace HOQ::cli {

std::vector<std::string> namesOf(const std::vector<Option>& options) {
  std::vector<std::string> names;
  for (const Option& option : options) {
    const std::string all(option.names);
    for (std::size_t start = 0; start < all.size();) {
      const std::size_t end = std::min(all.find(',', start), all.size());
      names.push_back(all.substr(start, end - start));
      start = end + 1;
    }
  }
  return names;
}

std::vector<std::unique_ptr<Command>> makeCommands() {
  std::vector<std::unique_ptr<Command>> commands;
  commands.push_back(std::make_unique<LsCommand>());
  commands.push_back(std::make_unique<StatCommand>());
  commands.push_back(std::make_unique<RmCommand>());
  commands.push_back(std::make_unique<MkdirCommand>());
  commands.push_back(std::make_unique<ChmodCommand>());
  commands.push_back(std::make_unique<ChownCommand>());
  commands.push_back(std::make_unique<CpCommand>());
  commands.push_back(std::make_unique<MvCommand>());
  commands.push_back(std::make_unique<LnCommand>());
  commands.push_back(std::make_unique<ReadlinkCommand>());
  commands.push_back(std::make_unique<PutCommand>());
  commands.push_back(std::make_unique<GetCommand>());
  commands.push_back(std::make_unique<PingCommand>());
  commands.push_back(std::make_unique<CallCommand>());
  commands.push_back(std::make_unique<CertCommand>());
  commands.push_back(std::make_unique<CompletionCommand>());
  return commands;
}

}  // namespace HOQ::cli
