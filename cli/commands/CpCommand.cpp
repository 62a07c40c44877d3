#include "commands/CpCommand.h"

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
         "Trees are counted before they are copied where progress is shown; with -L they are not.\n"
         "\n"
         "Examples:\n"
         "  $ hoq cp notes.txt copy.txt\n"
         "  $ hoq cp -R src backup\n"
         "  $ hoq cp -w 'src/*.c' backup/sub\n";
}

std::vector<Option> CpCommand::options() { return transferOptions(options_); }

ExitStatus CpCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage, "cp needs a SRC and a DST (see hoq cp --help)");
  return Transfer(session, options_).run(arguments);
}

}  // namespace HOQ::cli
