#include "commands/MvCommand.h"

namespace HOQ::cli {

std::string MvCommand::notes() const {
  return "Where DST is a directory, or a link to one, things go into it under their own names; "
         "several\n"
         "SRCs need one. A \"/\" behind DST asks for a directory that is there, or names a new one "
         "for a\n"
         "directory. Each SRC is carried by itself: one that fails does not stop the others, but "
         "ends at\n"
         "its first error; what was done till then stays.\n"
         "\n"
         "Within a file system a directory is renamed; a directory in its place is replaced only "
         "when it\n"
         "is empty. Other items are replaced only with -f, and never by what the same run has "
         "brought.\n"
         "Between file systems, items are copied and then removed, each after its copy is whole. "
         "\"/\", the\n"
         "working directory and those above it are not moved. \"*\" of -w takes hidden names.\n"
         "\n"
         "Trees that have to be copied are counted before, where progress is shown; with -L they "
         "are not.\n"
         "\n"
         "Examples:\n"
         "  $ hoq mv notes.txt renamed.txt\n"
         "  $ hoq mv src moved\n"
         "  $ hoq mv -w 'moved/*.c' moved/sub\n";
}

std::vector<Option> MvCommand::options() { return transferOptions(options_); }

ExitStatus MvCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage, "mv needs a SRC and a DST (see hoq mv --help)");
  return Transfer(session, options_).run(arguments);
}

}  // namespace HOQ::cli
