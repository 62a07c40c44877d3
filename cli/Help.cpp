#include "Help.h"

#include <fmt/format.h>

#include <iterator>

namespace HOQ::cli {
namespace {

/// "-l,--long" as people read it: "-l, --long"; an option without a short form stands in line.
std::string shownNames(const Option& option) {
  std::string names(option.names);
  const std::size_t comma = names.find(',');
  if (comma != std::string::npos) names.insert(comma + 1, " ");
  if (names.compare(0, 2, "--") == 0) names.insert(0, "    ");
  if (option.valueName != nullptr) names += std::string(" ") + option.valueName;
  return names;
}

void appendOptions(std::string& out, const std::vector<Option>& options) {
  for (const Option& option : options)
    fmt::format_to(std::back_inserter(out), "  {:<26} {}\n", shownNames(option), option.help);
}

}  // namespace

std::string programHelp(const std::vector<std::unique_ptr<Command>>& commands,
                        const std::vector<Option>& globalOptions) {
  std::string out =
      "Lists, inspects and changes files through the file-manager plugin.\n\n"
      "Usage: hoq [GLOBAL OPTIONS] COMMAND [OPTIONS] ARGUMENTS\n\nCommands:\n";
  for (const auto& command : commands)
    fmt::format_to(std::back_inserter(out), "  {:<10} {}\n", command->name(), command->help());
  out += "\nGlobal options, before or after the command:\n";
  appendOptions(out, globalOptions);
  out +=
      "\nExit status: 0 all done; 1 the operation failed or part of it did; 2 wrong usage;\n"
      "3 the node cannot be reached; 4 access refused.\n"
      "\nExamples:\n"
      "  $ hoq ls -l src\n"
      "  $ hoq -C src ls\n"
      "  $ hoq stat --json notes.txt\n"
      "\n'hoq COMMAND --help' tells more about each command.\n";
  return out;
}

std::string commandHelp(Command& command) {
  std::string out =
      fmt::format("hoq {}: {}\n\nUsage: hoq {} [OPTIONS] {}\n\nOptions:\n", command.name(),
                  command.help(), command.name(), command.arguments());
  appendOptions(out, command.options());
  out += "  Global options ('hoq --help' lists them) may stand here as well.\n\n";
  return out + command.notes();
}

}  // namespace HOQ::cli
