#include "commands/ChmodCommand.h"

#include <sys/stat.h>

#include <hoq/HOQFilerOptions.h>

#include "ModeText.h"
#include "PathText.h"
#include "commands/ModeWalk.h"

namespace HOQ::cli {
namespace {

/// The process's umask, which can only be read by setting it.
unsigned currentMask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

}  // namespace

std::string ChmodCommand::notes() const {
  return "MODE is octal (755), or clauses of who (u g o a), + - or =, and permissions (r w x X s\n"
         "t, or one of u g o to copy), for instance u=rwX,go-w. Without who, the umask's bits are\n"
         "left alone. Symbolic modes are worked out for each item; they leave a directory's "
         "set-id\n"
         "bits alone unless they name them, an octal MODE sets them as it says. A MODE that "
         "begins\n"
         "with \"-\" goes behind \"--\", or is written with who: a-w.\n"
         "\n"
         "A PATH that is a link stands for what it leads to, but -R enters it only with -L or a\n"
         "\"/\" behind it. Links below: a symbolic MODE leaves them alone without -L, an octal "
         "one\n"
         "is given to what they lead to.\n"
         "\nExamples:\n"
         "  $ hoq chmod 640 notes.txt\n"
         "  $ hoq chmod -R u=rwX,go-w src\n"
         "  $ hoq chmod -w a-x 'src/*.c'\n";
}

std::vector<Option> ChmodCommand::options() {
  return {
      {"-R,--recursive", nullptr, "change everything below directories as well", &recursive_},
      {"-L,--dereference", nullptr, "enter directories that links lead to", &followLinks_},
      {"-w,--wildcards", nullptr, "PATHs are patterns of *, ? and [ ]", &wildcards_},
  };
}

ExitStatus ChmodCommand::changeSymbolic(Session& session, const ModeChange& change,
                                        const std::vector<Named>& items) {
  Lookup followed(session, HOQFilerOptions::kFollowLinks,
                  HOQFileType::kType | HOQFileType::kPermissions);
  ModeWalk walk(session, change, currentMask(), followLinks_);
  ExitStatus status = kExitDone;
  for (const Named& item : items) {
    const RecordPtr record = followed.require(item.typed, item.full);
    if (followed.refused()) return kExitRefused;
    if (!record) {
      status = kExitFailed;
      continue;
    }
    const bool entered = followLinks_ || namesDirectory(item.typed);
    if (recursive_ && record->type == HOQFileType::kDirectory &&
        (entered || !isLink(session, item.full)))
      walk.tree(item.full, *record);
    else
      walk.item(item.full, *record);
  }
  return worse(status, walk.finish());
}

ExitStatus ChmodCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage, "chmod needs a MODE and a PATH (see hoq chmod --help)");
  const ModeChange change(arguments.front());
  ExitStatus status = kExitDone;
  const auto items =
      namedItems(session, {arguments.begin() + 1, arguments.end()}, wildcards_, status);
  if (status == kExitRefused) return status;
  if (!change.octal()) return worse(status, changeSymbolic(session, change, items));
  const int mode = static_cast<int>(*change.octal());
  const HOQFilerOptions options((recursive_ ? HOQFilerOptions::kRecursive : 0) |
                                (followLinks_ ? HOQFilerOptions::kFollowLinks : 0));
  return worse(status, changeEach(session, items, [&](HOQFiler& filer, const std::string& path) {
                 return filer.chmod({path}, mode, options);
               }));
}

}  // namespace HOQ::cli
