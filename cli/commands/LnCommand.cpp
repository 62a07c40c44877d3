#include "commands/LnCommand.h"

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "commands/EachPath.h"

namespace HOQ::cli {
namespace {

/// The link's own path: `typed`, or TARGET's base name in the directory that `typed` names. Empty,
/// with `why` set, where there can be no such link.
std::string linkPath(Session& session, const std::string& typed, const std::string& target,
                     std::string& why) {
  const std::string full = resolve(session.directory(), typed);
  if (!isDirectory(session, full)) {
    if (namesDirectory(typed)) why = "\"" + typed + "\", Not a directory";
    return why.empty() ? full : "";
  }
  if (target != "/") return join(full, leafOf(target));
  why = "\"" + typed + "\" is a directory, and \"/\" has no name for a link in it";
  return "";
}

}  // namespace

std::string LnCommand::notes() const {
  return "Where NAME is a directory, the link is made in it, under TARGET's name. A symbolic link\n"
         "records TARGET's absolute path, \".\" and \"..\" resolved, whether it is there or not.\n"
         "\nExamples:\n"
         "  $ hoq ln notes.txt same-notes.txt\n"
         "  $ hoq ln -s notes.txt to-notes\n"
         "  $ hoq ln -s notes.txt src/sub\n";
}

std::vector<Option> LnCommand::options() {
  return {{"-s,--symbolic", nullptr, "make a symbolic link", &symbolic_}};
}

ExitStatus LnCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() != 2)
    throw CommandError(kExitUsage, "ln takes a TARGET and a NAME (see hoq ln --help)");
  for (const std::string& typed : arguments)
    if (typed.empty()) throw CommandError(kExitFailed, "\"\", No such file or directory");
  const std::string target = resolve(session.directory(), arguments.front());
  std::string why;
  const std::string path = linkPath(session, arguments.back(), target, why);
  if (!why.empty()) throw CommandError(kExitFailed, why);
  const HOQFilerOptions options(symbolic_ ? HOQFilerOptions::kSymbolicLink : 0);
  const int code = session.filer(session.directory())->link(target, path, options);
  return concluded(session, code, arguments.back());
}

}  // namespace HOQ::cli
