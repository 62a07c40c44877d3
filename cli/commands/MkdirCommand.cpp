#include "commands/MkdirCommand.h"

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "commands/Lookup.h"

namespace HOQ::cli {
namespace {

/// Whether `full` is a directory or leads to one.
bool isDirectory(Session& session, const std::string& full) {
  std::string why;  // no directory, for whatever reason
  Lookup lookup(session, 0, HOQFileType::kType);
  return lookup.find(join(full, "."), true, why) != nullptr;
}

}  // namespace

std::string MkdirCommand::notes() const {
  return "With -p, directories that are there already are no error.\n"
         "\nExamples:\n"
         "  $ hoq mkdir new\n"
         "  $ hoq mkdir -p new/a/b new/c\n";
}

std::vector<Option> MkdirCommand::options() {
  return {{"-p,--parents", nullptr, "make the directories above as well, where they are missing",
           &parents_}};
}

ExitStatus MkdirCommand::make(Session& session, const std::string& typed) {
  if (typed.empty()) {
    session.reportError("\"\", No such file or directory");
    return kExitFailed;
  }
  const std::string full = resolve(session.directory(), typed);
  const HOQFilerOptions options(parents_ ? HOQFilerOptions::kRecursive : 0);
  const int code = session.filer(session.directory())->mkdir({full}, nullptr, options);
  const auto errors = session.news().takeErrors();
  if (code != 0 && parents_ && isDirectory(session, full)) return kExitDone;
  for (const std::string& text : errors) session.reportError(text);
  if (statusOf(code) == kExitRefused) session.reportError("\"" + typed + "\", access refused");
  return statusOf(code);
}

ExitStatus MkdirCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.empty())
    throw CommandError(kExitUsage, "mkdir needs a PATH (see hoq mkdir --help)");
  ExitStatus status = kExitDone;
  for (const std::string& typed : arguments) {
    const ExitStatus one = make(session, typed);
    if (one == kExitRefused) return one;
    if (one != kExitDone) status = one;
  }
  return status;
}

}  // namespace HOQ::cli
