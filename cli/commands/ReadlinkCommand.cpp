#include "commands/ReadlinkCommand.h"

#include "PathText.h"
#include "commands/EachPath.h"
#include "output/JsonText.h"
#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

void print(Output& out, bool json, const std::string& typed, const std::string& target) {
  if (json) {
    out.append("{\"path\":");
    appendJson(out.buffer(), typed);
    out.append(",\"target\":");
    appendJson(out.buffer(), target);
    out.append("}\n");
  } else {
    out.append(out.isTerminal() ? escapeForTerminal(target) : target);
    out.append("\n");
  }
  out.checkpoint();
}

}  // namespace

std::string ReadlinkCommand::notes() const {
  return "Prints the text that a link records, a line for each PATH, and follows nothing.\n"
         "\nExamples:\n"
         "  $ hoq ln -s src shortcut; hoq readlink shortcut\n"
         "  $ hoq --json readlink shortcut\n";
}

ExitStatus ReadlinkCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.empty())
    throw CommandError(kExitUsage, "readlink needs a PATH (see hoq readlink --help)");
  ExitStatus status = kExitDone;
  for (const Named& item : namedItems(session, arguments, false, status)) {
    std::string target;
    const int code = session.filer(session.directory())->readlink(item.full, target);
    status = worse(status, concluded(session, code, item.typed));
    if (status == kExitRefused) return status;
    if (code == 0) print(session.output(), session.settings().json, item.typed, target);
  }
  return status;
}

}  // namespace HOQ::cli
