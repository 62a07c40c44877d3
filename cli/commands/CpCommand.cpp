#include "commands/CpCommand.h"

#include <optional>
#include <utility>

#include "commands/NodeTransfer.h"
#include "node/NodeTarget.h"

namespace HOQ::cli {

std::string CpCommand::notes() const {
  return "Where DST is a directory, or a link to one, things go into it under their own names; "
         "several\n"
         "SRCs need one. A \"/\" behind DST asks for a directory that is there, or names a new one "
         "for a\n"
         "directory. Each SRC is carried by itself: one that fails does not stop the others, but "
         "ends at\n"
         "its first error; what was done till then stays.\n"
         "\n"
         "Links are copied as links, unless -L is given. \"d/.\" stands for what is in d: it is "
         "merged\n"
         "into DST. Directories are merged into directories; other items are replaced only with "
         "-f, and\n"
         "never by what the same run has brought. Modes and owners are kept as far as the system "
         "allows;\n"
         "set-id bits that a change of owner takes away stay away. \"*\" of -w takes hidden "
         "names.\n"
         "\n"
         "DST may be on another node: HOST[:PORT]:/path, [IPv6][:PORT]:/path, or a plain path "
         "with\n"
         "--to. The data goes there straight from the node that has it. Links cannot be sent, and "
         "a\n"
         "directory arrives whole or not at all where DST is not there yet. A local name with a\n"
         "colon before a \"/\" is written ./a:/b.\n"
         "\n"
         "Trees are counted before they are copied where progress is shown; with -L they are not.\n"
         "\n"
         "Examples:\n"
         "  $ hoq cp notes.txt copy.txt\n"
         "  $ hoq cp -R src backup\n"
         "  $ hoq cp -w 'src/*.c' backup/sub\n";
}

std::vector<Option> CpCommand::options() {
  auto options = transferOptions(options_);
  options.push_back(
      {"--to", "ADDRESS", "the node that DST is on, in any form that --node takes", &to_});
  return options;
}

ExitStatus CpCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage, "cp needs a SRC and a DST (see hoq cp --help)");
  const std::string& last = arguments.back();
  std::optional<NodeTarget> target = to_.empty() ? parseNodeTarget(last) : NodeTarget{to_, last};
  if (!target) return Transfer(session, options_).run(arguments);
  if (target->path.empty() || target->path.front() != '/')
    throw CommandError(kExitUsage,
                       "a path on another node begins with \"/\", not \"" + last + "\"");
  return NodeTransfer(session, options_, std::move(*target))
      .run({arguments.begin(), arguments.end() - 1});
}

}  // namespace HOQ::cli
