#include "commands/LsCommand.h"

#include <algorithm>

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "listing/GatheredTree.h"
#include "listing/Printer.h"

namespace HOQ::cli {

/// One run of the command: what it asks for and what it has found.
struct LsCommand::Run {
  Run(const LsCommand& lsCommand, Session& lsSession)
      : command(lsCommand),
        session(lsSession),
        conditions(lsCommand.filters_),
        // Sums count what passes the filter records, so that these stay away where they can.
        filters(lsCommand.sumSizes_ ? conditions.indispensableFilters() : conditions.filters()),
        requestFilters(filters.empty() ? nullptr : &filters),
        lookup(lsSession, lsCommand.requestOptions(),
               lsCommand.requestFields(lsSession.settings().json)),
        view(lsCommand.viewOf(lsSession)),
        selection(lsCommand.all_, conditions) {}

  void addPath(const std::string& typed);
  void addPattern(const std::string& pattern);
  void addItem(const std::string& shown, const std::string& full, RecordPtr record);
  bool addDirectory(const std::string& shown, const std::string& full, bool through);
  std::uint64_t sumBelow(const std::string& full);
  bool passesFilters(const std::string& full);
  void print();

  const LsCommand& command;
  Session& session;
  const Conditions conditions;
  const std::vector<HOQFileFilter> filters;
  const std::vector<HOQFileFilter>* const requestFilters;
  Lookup lookup;
  const View view;
  const Selection selection;
  std::vector<Item> items;
  Spool spool;  // of trees
  std::vector<Directory> directories;
  bool complete = true;
};

/// True when `full` is a directory, or the attempt has come to an end that was told.
bool LsCommand::Run::addDirectory(const std::string& shown, const std::string& full, bool through) {
  Directory directory;
  directory.shown = shown;
  const bool isBlocks = view.longFormat && !view.json;
  GatheredTree tree(selection, spool, {view.style, isBlocks, isBlocks});
  RecordTaker* taker = nullptr;
  if (view.tree) {
    directory.spool = &spool;
    taker = &tree;
  } else if (gathers(view, session.output().isTerminal())) {
    directory.gathered = std::make_shared<Gathering>(selection, view.style, view.longFormat);
    taker = directory.gathered.get();
  }
  Listed listed = lookup.list(full, through, requestFilters, taker);
  if (listed.outcome == Listed::Outcome::kNotDirectory) return false;
  complete = complete && listed.complete;
  directory.records = std::move(listed.records);
  directory.top = tree.finish();
  if (listed.outcome == Listed::Outcome::kListed && (listed.complete || listed.count != 0))
    directories.push_back(std::move(directory));
  return true;
}

void LsCommand::Run::addPath(const std::string& typed) {
  const std::string full = resolve(session.directory(), typed);
  // A long listing shows a link that is named without a "/" behind it as what it is.
  const bool through = !command.long_ || namesDirectory(typed);
  if (!typed.empty() && addDirectory(typed, full, through)) return;
  RecordPtr record = lookup.require(typed, full);
  if (record)
    addItem(typed, full, std::move(record));
  else
    complete = false;
}

/// The sum of what is below `full`, which is no part of a record that was asked for by name.
std::uint64_t LsCommand::Run::sumBelow(const std::string& full) {
  Lookup flat(session, command.requestOptions() & ~HOQFilerOptions::kRecursive, HOQFileType::kSize);
  const Listed listed = flat.list(full, false, requestFilters);
  complete = complete && listed.complete;
  std::uint64_t sum = 0;
  for (const RecordPtr& record : listed.records)
    if (!isDots(record->name)) sum += record->size;
  return sum;
}

/// Whether the Filer's filters let an item pass that was asked for by name, without them.
bool LsCommand::Run::passesFilters(const std::string& full) {
  if (conditions.indispensableFilters().empty() || full == "/") return true;
  Lookup flat(session, command.requestOptions() & HOQFilerOptions::kFollowLinks, 0);
  const Listed around = flat.list(parentOf(full), true, requestFilters);
  const auto same = [name = leafOf(full)](const RecordPtr& record) { return record->name == name; };
  return std::any_of(around.records.begin(), around.records.end(), same);
}

void LsCommand::Run::addItem(const std::string& shown, const std::string& full, RecordPtr record) {
  if (!passesFilters(full)) return;
  if (command.sumSizes_ && record->type == HOQFileType::kDirectory) record->size = sumBelow(full);
  record->name = leafOf(full);  // conditions are about base names
  if (conditions.matches(*record)) items.push_back({shown, std::move(record)});
}

void LsCommand::Run::addPattern(const std::string& pattern) {
  Expansion expansion(lookup, requestFilters);
  for (Match& match : expansion.expand(session.directory(), pattern)) {
    const bool directory = match.record->type == HOQFileType::kDirectory;
    if (command.recursive_ && directory && addDirectory(match.shown, match.full, false)) continue;
    addItem(match.shown, match.full, std::move(match.record));
  }
  complete = complete && expansion.complete();
}

void LsCommand::Run::print() {
  std::sort(items.begin(), items.end(),
            [](const Item& a, const Item& b) { return a.shown < b.shown; });
  std::stable_sort(directories.begin(), directories.end(),
                   [](const Directory& a, const Directory& b) { return a.shown < b.shown; });
  Printer(session.output(), view, selection).print(items, directories);
}

View LsCommand::viewOf(Session& session) const {
  View view;
  view.json = session.settings().json;
  view.longFormat = long_;
  view.tree = recursive_;
  view.sizes = sumSizes_;
  view.style = {session.output().isTerminal(), session.showsColor(), human_};
  return view;
}

int LsCommand::requestOptions() const {
  return (recursive_ ? HOQFilerOptions::kRecursive : 0) |
         (followLinks_ ? HOQFilerOptions::kFollowLinks : 0) |
         (sumSizes_ ? HOQFilerOptions::kSumSizes : 0) |
         (oneFileSystem_ ? HOQFilerOptions::kOneFileSystem : 0);
}

unsigned LsCommand::requestFields(bool json) const {
  using Type = HOQFileType;
  constexpr unsigned kBasic = Type::kType | Type::kPermissions | Type::kName | Type::kSize;
  constexpr unsigned kLong = kBasic | Type::kUser | Type::kGroup | Type::kMtime | Type::kNlink |
                             Type::kLinkTarget | Type::kUid | Type::kGid;
  return json || long_ ? kLong : kBasic;
}

std::string LsCommand::notes() const {
  return "A PATH that is no directory is listed itself; without a PATH, the current directory is.\n"
         "With -w, matches are listed, not what is in them (-R does both); \"*\" takes hidden\n"
         "names.\n"
         "\nA CONDITION is FIELD OP VALUE; with several, all must hold:\n"
         "  size          = != < <= > >=   bytes, with units k M G T of 1024\n"
         "  type          = !=             f file, d directory, l link, p pipe, s socket,\n"
         "                                 b and c devices\n"
         "  mtime, ctime  = != < <= > >=   YYYY-MM-DD[THH:MM[:SS]] or @SECONDS (ctime has no !=,\n"
         "                                 and directories always pass it)\n"
         "  user, group   = !=             a name or an id\n"
         "  uid, gid      = != < <= > >=   an id\n"
         "  name          = !=             a pattern\n"
         "\nExamples:\n"
         "  $ hoq ls\n"
         "  $ hoq ls -lh src\n"
         "  $ hoq ls -R src\n"
         "  $ hoq ls -ls src\n"
         "  $ hoq ls -w 'src/*.c'\n"
         "  $ hoq ls -R --filter 'size>1k' --filter type=f src\n"
         "  $ hoq ls -R --json --filter 'name=*.c' src\n";
}

std::vector<Option> LsCommand::options() {
  return {
      {"-a,--all", nullptr, "show hidden names, \".\" and \"..\" as well", &all_},
      {"-l,--long", nullptr, "type and mode, links, owner, group, size, time, name", &long_},
      {"-h,--human-readable", nullptr, "show sizes in units of 1024", &human_},
      {"-R,--recursive", nullptr, "draw the tree below; with -l, a block for each directory",
       &recursive_},
      {"-L,--dereference", nullptr, "show what links lead to", &followLinks_},
      {"-w,--wildcards", nullptr, "PATHs are patterns of *, ? and [ ]", &wildcards_},
      {"-s,--sum-sizes", nullptr, "give directories the size of what is below them", &sumSizes_},
      {"-x,--one-file-system", nullptr, "do not enter directories of other file systems",
       &oneFileSystem_},
      {"--filter", "CONDITION", "show only what meets the condition (see below)", &filters_},
  };
}

ExitStatus LsCommand::run(Session& session, const std::vector<std::string>& arguments) {
  Run run(*this, session);
  for (const std::string& argument :
       arguments.empty() ? std::vector<std::string>{"."} : arguments) {
    if (wildcards_ && hasWildcards(argument))
      run.addPattern(argument);
    else
      run.addPath(argument);
    if (run.lookup.refused()) return kExitRefused;
  }
  session.console().stopProgress();
  run.print();
  return run.complete ? kExitDone : kExitFailed;
}

}  // namespace HOQ::cli
