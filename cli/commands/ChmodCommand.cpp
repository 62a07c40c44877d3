#include "commands/ChmodCommand.h"

#include <sys/stat.h>

#include <hoq/HOQFilerOptions.h>

#include "ModeText.h"
#include "commands/ChangeWalk.h"
#include "commands/EachPath.h"

namespace HOQ::cli {
namespace {

constexpr unsigned kOwnerEnters = 0500;

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
         "\"/\" behind it. Links below are left alone without -L.\n"
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

ExitStatus ChmodCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage, "chmod needs a MODE and a PATH (see hoq chmod --help)");
  const ModeChange change(arguments.front());
  ExitStatus status = kExitDone;
  const auto items =
      namedItems(session, {arguments.begin() + 1, arguments.end()}, wildcards_, status);
  if (status == kExitRefused) return status;
  // One mode for every item needs no look at them, but for the links below a directory.
  if (change.octal() && !recursive_) {
    const int mode = static_cast<int>(*change.octal());
    return worse(status, changeEach(session, items, [&](HOQFiler& filer, const std::string& path) {
                   return filer.chmod({path}, mode, HOQFilerOptions(0));
                 }));
  }
  ChangeWalk walk(
      session,
      [&change, mask = currentMask()](const HOQFileType& record) {
        return change.apply(record.permissions, record.type == HOQFileType::kDirectory, mask);
      },
      change.octal() && (*change.octal() & kOwnerEnters) == kOwnerEnters
          ? ChangeWalk::Change::kSame
          : ChangeWalk::Change::kEachItsOwn,
      [](HOQFiler& filer, const ChangeWalk::Paths& paths, unsigned mode,
         const HOQFilerOptions& options) {
        return filer.chmod(paths, static_cast<int>(mode), options);
      },
      followLinks_);
  return worse(status, walk.run(items, recursive_));
}

}  // namespace HOQ::cli
