#include "contents/ContentsTransfer.h"

#include <algorithm>
#include <set>

#include "PathText.h"
#include "commands/EachPath.h"
#include "commands/RealPath.h"
#include "contents/Carriage.h"
#include "contents/LocalSide.h"
#include "contents/NodeSide.h"
#include "contents/StagingPlace.h"
#include "progress/ContentsProgress.h"

namespace HOQ::cli {
namespace {

constexpr std::uint32_t kStreamMode = 0666;  // of a file whose source has none

ContentsOptions settled(ContentsOptions options, const Session& session) {
  options.sameMachine = session.settings().node.empty();
  return options;
}

/// What the items come to, with what is below directories.
void add(Amount& amount, Side& side, const std::string& path, const Attributes& attributes) {
  if (!attributes.isFile() && !attributes.isDirectory()) return;  // left out
  ++amount.items;
  amount.bytes += attributes.size;
  if (!attributes.isDirectory()) return;
  try {
    for (const SideEntry& entry : side.list(path).found)
      if (isEntryName(entry.name)) add(amount, side, join(path, entry.name), entry.attributes);
  } catch (const SideError&) {
    // met again, and told, by the transfer itself
  }
}

}  // namespace

ContentsTransfer::ContentsTransfer(Session& session, const ContentsOptions& options)
    : session_(session),
      options_(settled(options, session)),
      outcome_([&session](const std::string& line) { session.reportError(line); }) {}

std::unique_ptr<Side> ContentsTransfer::makeSide(bool remote) {
  if (!remote) return std::make_unique<LocalSide>(interruption_, options_.followLinks);
  return std::make_unique<NodeSide>(session_.node(), interruption_, options_.followLinks);
}

ExitStatus ContentsTransfer::run(const std::vector<std::string>& arguments) {
  try {
    return runArguments(arguments);
  } catch (const SideError& error) {
    throw CommandError(kExitFailed, error.what());
  } catch (const Interrupted&) {
    session_.console().stopProgress();
    Interruption::die();
  }
}

ExitStatus ContentsTransfer::runArguments(const std::vector<std::string>& arguments) {
  const std::vector<std::string> sources(arguments.begin(), arguments.end() - 1);
  toStream_ = !options_.put && arguments.back() == kStream;
  checkStreams(sources, arguments.back());
  source_ = makeSource();
  target_ = makeTarget();
  Destination destination;
  if (!toStream_) destination = findDestination(arguments.back());
  findSources(sources, destination);
  if (!toStream_) checkSlash(destination);
  carry(destination);
  return outcome_.status();
}

void ContentsTransfer::checkStreams(const std::vector<std::string>& sources,
                                    const std::string& target) const {
  const auto refuse = [](const std::string& line) { throw CommandError(kExitUsage, line); };
  const auto streams = std::count(sources.begin(), sources.end(), kStream);
  if (options_.put && streams > 1) refuse("standard input can be read once only");
  if (options_.put && streams == 1 && namesDirectory(target))
    refuse("what comes from standard input needs a name: " + quoted(target) + " names a directory");
  if (!toStream_) return;
  if (options_.resume || options_.inPlace || options_.keep)
    refuse("--resume, --in-place and -p are for files, not for standard output");
  if (session_.settings().json) refuse("--json and the contents would both go to standard output");
}

std::string ContentsTransfer::realPathOf(const std::string& directory) {
  return options_.put ? realPath(session_, directory) : LocalSide::realPath(directory);
}

ContentsTransfer::Destination ContentsTransfer::findDestination(const std::string& typed) {
  if (typed.empty()) throw CommandError(kExitFailed, "\"\", No such file or directory");
  const std::string full =
      options_.put ? resolve(session_.directory(), typed) : LocalSide::resolved(typed);
  Destination destination{typed, full, "", false};
  Attributes found;
  destination.exists = examineItem(*target_, full, false, found);
  const bool link = destination.exists && found.isLink();
  if (link && !examineItem(*target_, full, true, found)) found = Attributes();  // it leads nowhere
  if (!found.isDirectory() || (!link && wasBegunAs(typed, full))) {
    destination.directory = parentOf(full);
    destination.name = leafOf(full);
    Attributes holder;
    if (!examineItem(*target_, destination.directory, true, holder))
      throw CommandError(kExitFailed, quoted(typed) + ", No such file or directory");
    if (!holder.isDirectory()) throw CommandError(kExitFailed, quoted(typed) + ", Not a directory");
  }
  destination.directory = realPathOf(destination.directory);
  return destination;
}

/// A directory that is there may be the new one of an earlier run, which was stopped right behind
/// moving it into place: then nothing goes into it once more.
bool ContentsTransfer::wasBegunAs(const std::string& typed, const std::string& full) {
  if (!options_.resume || namesDirectory(typed) || full == "/") return false;
  const StagingPlace place(realPathOf(parentOf(full)),
                           placeName(options_.name(), leafOf(full) + "/"));
  return place.isThere(*target_);
}

void ContentsTransfer::findSources(const std::vector<std::string>& typed,
                                   const Destination& destination) {
  const auto several = [&](std::size_t count) {
    if (count > 1 && !destination.name.empty())
      throw CommandError(kExitFailed,
                         quoted(destination.typed) + " is not a directory, as several items need");
  };
  several(typed.size());
  if (options_.put) {
    for (const std::string& name : typed)
      addSource(name, name == kStream ? name : LocalSide::resolved(name), destination);
    return;
  }
  ExitStatus status = kExitDone;
  const auto named = namedItems(session_, typed, options_.wildcards, status);
  if (status == kExitRefused) throw CommandError(status, "access refused");
  if (status != kExitDone) outcome_.note();
  several(named.size());
  for (const Named& item : named) addSource(item.typed, item.full, destination);
}

void ContentsTransfer::addSource(const std::string& typed, const std::string& full,
                                 const Destination& destination) {
  Wanted wanted{full, destination.name, {}, false, typed};
  if (full == kStream) {
    wanted.attributes.mode = kStreamMode;
    if (destination.name.empty())
      throw CommandError(kExitFailed, "what comes from standard input needs a name: " +
                                          quoted(destination.typed) + " is a directory");
  } else {
    try {
      if (typed.empty() || !examineItem(*source_, full, true, wanted.attributes))
        return outcome_.failed(quoted(typed) + ", No such file or directory");
    } catch (const SideError& error) {
      return outcome_.failed(error.what());
    }
    const bool contents = namesContents(typed) || full == "/";
    if (destination.name.empty()) {
      wanted.contents = contents;
      wanted.name = leafOf(full);
    }
  }
  const std::string why = whyRefused(wanted, destination);
  if (!why.empty()) return outcome_.failed(why);
  wanted_.push_back(std::move(wanted));
}

/// What users of such commands do not expect to happen. Empty: nothing is wrong.
std::string ContentsTransfer::whyRefused(const Wanted& wanted,
                                         const Destination& destination) const {
  const std::string name = quoted(wanted.typed);
  if (wanted.source == kStream) return "";
  if (!wanted.attributes.isDirectory()) {
    if (namesDirectory(wanted.typed)) return name + ", Not a directory";
    return wanted.attributes.isFile() ? "" : name + " is no file";
  }
  if (toStream_) return name + " is a directory";
  if (!options_.recursive) return name + " is a directory; -R copies it";
  if (options_.sameMachine && LocalSide::isWithin(destination.directory, wanted.source))
    return "Cannot copy " + quoted(wanted.source) + " into itself";
  return "";
}

/// A "/" behind the target asks for a directory. One that is not there yet may be the new name of a
/// directory, of nothing else.
void ContentsTransfer::checkSlash(const Destination& destination) const {
  if (destination.name.empty() || !namesDirectory(destination.typed)) return;
  const std::string name = quoted(destination.typed);
  if (destination.exists) throw CommandError(kExitFailed, name + ", Not a directory");
  if (!wanted_.empty() && !wanted_.front().attributes.isDirectory())
    throw CommandError(kExitFailed, name + ", No such file or directory");
}

void ContentsTransfer::carry(const Destination& destination) {
  ContentsProgress progress(session_, options_.name(), toStream_);
  const bool stream = !wanted_.empty() && wanted_.front().source == kStream;
  // What a link leads to may lead back: nobody can tell how much that comes to.
  if (progress.wantsTotal() && !options_.noCount && !options_.followLinks && !stream) {
    Amount total;
    for (const Wanted& wanted : wanted_) add(total, *source_, wanted.source, wanted.attributes);
    progress.setTotal(total);
  }
  Carriage carriage(
      options_, [this] { return makeSource(); }, [this] { return makeTarget(); }, interruption_,
      outcome_, progress);
  if (toStream_)
    carriage.runToStream(wanted_);
  else
    carriage.run(wanted_, destination.directory, placeNameOf());
  progress.finish();
}

/// The same for a run that makes the same.
std::string ContentsTransfer::placeNameOf() const {
  std::set<std::string> names;
  for (const Wanted& wanted : wanted_) names.insert(wanted.name);
  std::string targets;
  for (const std::string& name : names) targets += name + "/";
  return placeName(options_.name(), targets);
}

}  // namespace HOQ::cli
