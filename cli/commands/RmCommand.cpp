#include "commands/RmCommand.h"

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "commands/EachPath.h"

namespace HOQ::cli {

std::string RmCommand::notes() const {
  return "Links are removed, never what they lead to. What leads to \"/\" is refused, and so is "
         "an\n"
         "empty PATH. Under -w, a directory that a pattern matches is emptied by -r and stays.\n"
         "\nExamples:\n"
         "  $ hoq rm notes.txt\n"
         "  $ hoq rm -r src\n"
         "  $ hoq rm -w '*.tmp'\n";
}

std::vector<Option> RmCommand::options() {
  return {
      {"-r,-R,--recursive", nullptr, "remove directories with everything below them", &recursive_},
      {"-w,--wildcards", nullptr, "PATHs are patterns of *, ? and [ ]", &wildcards_},
      {"--no-preserve-root", nullptr, "do not refuse \"/\"", &noPreserveRoot_},
  };
}

/// One request for each path: a failure stops the request that it happens in.
ExitStatus RmCommand::remove(Session& session, const std::string& typed) {
  if (typed.empty()) {
    session.reportError("\"\", No such file or directory");
    return kExitFailed;
  }
  const std::string full = resolve(session.directory(), typed);
  const int options = (recursive_ ? HOQFilerOptions::kRecursive : 0) |
                      (wildcards_ ? HOQFilerOptions::kWildcards : 0);
  const int code = session.filer(session.directory())
                       ->remove({wildcards_ ? typed : full}, HOQFilerOptions(options));
  return concluded(session, code, typed);
}

ExitStatus RmCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw CommandError(kExitUsage, "rm needs a PATH (see hoq rm --help)");
  // Before anything is removed: a list with "/" in it was not meant so.
  for (const std::string& typed : arguments)
    if (!noPreserveRoot_ && !typed.empty() && resolve(session.directory(), typed) == "/")
      throw CommandError(kExitFailed, "\"" + typed +
                                          "\" leads to \"/\"; nothing was removed (use "
                                          "--no-preserve-root if you mean it)");
  ExitStatus status = kExitDone;
  for (const std::string& typed : arguments) {
    const ExitStatus one = remove(session, typed);
    if (one == kExitRefused) return one;
    if (one != kExitDone) status = one;
  }
  return status;
}

}  // namespace HOQ::cli
