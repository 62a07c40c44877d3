#include "commands/Transfer.h"

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "commands/RealPath.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

void add(Amount& amount, const HOQFileType& record) {
  ++amount.items;
  if (record.type == HOQFileType::kRegular) amount.bytes += record.size;
}

/// Adds what a recursive listing tells of; "." and ".." are no items.
void addTree(Amount& amount, const Records& records) {
  std::vector<const Records*> levels{&records};
  while (!levels.empty()) {
    const Records& level = *levels.back();
    levels.pop_back();
    for (const RecordPtr& record : level) {
      if (isDots(record->name)) continue;
      add(amount, *record);
      if (!record->children.empty()) levels.push_back(&record->children);
    }
  }
}

}  // namespace

std::vector<Option> transferOptions(TransferOptions& options) {
  return {
      {"-R,-r,--recursive", nullptr,
       options.move ? "taken for granted: directories move with what is below them"
                    : "copy directories with everything below them",
       &options.recursive},
      {"-f,--force", nullptr, "replace what is there, but no directory", &options.force},
      {"-L,--dereference", nullptr,
       options.move ? "carry what links lead to, and remove the links" : "copy what links lead to",
       &options.followLinks},
      {"-w,--wildcards", nullptr, "SRCs are patterns of *, ? and [ ]", &options.wildcards},
      {"--no-count", nullptr, "do not count trees before they are carried", &options.noCount},
  };
}

Transfer::Transfer(Session& session, const TransferOptions& options)
    : session_(session),
      options_(options),
      lookup_(session, options.followLinks ? HOQFilerOptions::kFollowLinks : 0,
              HOQFileType::kType | HOQFileType::kSize),
      progress_(session, options.followLinks) {}

int Transfer::flags() const {
  return (options_.recursive || options_.move ? HOQFilerOptions::kRecursive : 0) |
         (options_.force ? HOQFilerOptions::kOverwrite : 0) |
         (options_.followLinks ? HOQFilerOptions::kFollowLinks : 0);
}

/// The Filer takes a link at the destination for an item of its own, users take it for the
/// directory that it leads to.
Transfer::Destination Transfer::findDestination(const std::string& typed) {
  if (typed.empty()) throw CommandError(kExitFailed, "\"\", No such file or directory");
  Destination destination{typed, resolve(session_.directory(), typed)};
  destination.isDirectory = isDirectory(session_, destination.full);
  const bool link = isLink(session_, destination.full);
  if (destination.isDirectory && link) destination.full = realPath(session_, destination.full);
  std::string why;  // what cannot be examined is met by the requests
  destination.exists =
      destination.isDirectory || link || lookup_.find(destination.full, false, why) != nullptr;
  return destination;
}

/// A "/" behind the destination asks for a directory. One that is not there yet may be the new name
/// of a directory, of nothing else.
void Transfer::checkSlash(const Destination& destination) {
  if (destination.isDirectory || !namesDirectory(destination.typed)) return;
  const std::string name = quoted(destination.typed);
  if (destination.exists) throw CommandError(kExitFailed, name + ", Not a directory");
  if (!sources_.empty() && !sources_.front().directory)
    throw CommandError(kExitFailed, name + ", No such file or directory");
}

ExitStatus Transfer::addSource(const Named& named, const Destination& destination) {
  const RecordPtr record = lookup_.require(named.typed, named.full);
  if (lookup_.refused()) return kExitRefused;
  if (!record) return kExitFailed;
  Source source;
  source.named = named;
  add(source.amount, *record);
  source.directory = record->type == HOQFileType::kDirectory;
  source.contents = namesContents(named.typed) || named.full == "/";
  source.through = namesDirectory(named.typed) && isLink(session_, named.full);
  source.place = placeOf(session_, named.full, source.through);
  source.destination = source.result = destination.full;
  if (source.contents && !source.through) source.place = {named.full, ""};
  if (destination.isDirectory && !source.contents) {
    source.result = join(destination.full, leafOf(named.full));
    if (source.through) source.destination = source.result;
  }
  const std::string why = whyRefused(source);
  if (why.empty()) {
    sources_.push_back(std::move(source));
    return kExitDone;
  }
  session_.reportError(why);
  return kExitFailed;
}

/// What users of such commands do not expect to happen. Empty: nothing is wrong.
std::string Transfer::whyRefused(const Source& source) {
  const std::string name = quoted(source.named.typed);
  if (!options_.move)
    return source.directory && !options_.recursive ? name + " is a directory; -R copies it" : "";
  if (source.named.full == "/") return name + " leads to \"/\", which is not moved";
  if (source.directory && !isLink(session_, source.named.full) &&
      holdsWorkingDirectory(source.named.full))
    return name + " holds the working directory, and is not moved";
  if (source.through) return name + " is a link; without the \"/\" behind it, the link is moved";
  if (source.contents) return name + " is not moved; name the directory itself";
  return "";
}

bool Transfer::holdsWorkingDirectory(const std::string& full) {
  if (workingDirectory_.empty()) workingDirectory_ = realPath(session_, session_.directory());
  const std::string real = realPath(session_, full);
  return join(workingDirectory_, "").compare(0, real.size() + 1, join(real, "")) == 0;
}

/// What the source in hand and those behind it come to. Asked in the middle of a request: nothing
/// here may touch the session's news.
std::optional<Amount> Transfer::countRest(const HOQRequestHandlerPtr& counted) {
  Amount amount;
  for (std::size_t i = current_; i < sources_.size(); ++i) {
    const Source& source = sources_[i];
    amount.items += source.amount.items;
    amount.bytes += source.amount.bytes;
    if (!source.directory) continue;
    const std::string& full = source.named.full;
    Records records;
    const auto filer = session_.node().filer(source.through ? join(full, ".") : full, counted);
    // What cannot be listed is met by the source's own request.
    (void)filer->list({""}, &records, HOQFilerOptions(HOQFilerOptions::kRecursive), nullptr,
                      HOQFileType::kType | HOQFileType::kSize | HOQFileType::kName);
    addTree(amount, records);
  }
  return amount;
}

ExitStatus Transfer::carry(const Source& source) {
  const auto made = made_.find(source.result);
  if (made != made_.end() && options_.force && !source.directory) {
    session_.reportError(quoted(source.result) + " was just made from " + quoted(made->second) +
                         ", and is not replaced with " + quoted(source.named.typed));
    return kExitFailed;
  }
  const auto filer = session_.filer(source.place.directory);
  const HOQFilerOptions options(flags());
  progress_.requestBegins(source.place.path.empty() ? source.place.directory : source.place.path,
                          source.result);
  const int code = options_.move ? filer->move({source.place.path}, source.destination, options)
                                 : filer->copy({source.place.path}, source.destination, options);
  const ExitStatus status = concluded(session_, code, source.named.typed);
  progress_.requestEnded(status == kExitDone);
  if (status == kExitDone) made_.emplace(source.result, source.named.typed);
  return status;
}

ExitStatus Transfer::carryAll() {
  // What a link leads to may lead back: nobody can tell how much that comes to.
  if (progress_.wanted() && !options_.noCount && !options_.followLinks) {
    const auto count = [this](const auto& counted) { return countRest(counted); };
    if (options_.move)
      progress_.countWhenNeeded(count);
    else
      progress_.count(count);
  }
  ExitStatus status = kExitDone;
  for (current_ = 0; current_ < sources_.size() && status != kExitRefused; ++current_)
    status = worse(status, carry(sources_[current_]));
  progress_.finish();
  return status;
}

ExitStatus Transfer::run(const std::vector<std::string>& arguments) {
  const Destination destination = findDestination(arguments.back());
  ExitStatus status = kExitDone;
  const auto named =
      namedItems(session_, {arguments.begin(), arguments.end() - 1}, options_.wildcards, status);
  if ((named.size() > 1 || arguments.size() > 2) && !destination.isDirectory)
    throw CommandError(kExitFailed,
                       quoted(destination.typed) + " is not a directory, as several items need");
  for (const Named& item : named) {
    status = worse(status, addSource(item, destination));
    if (status == kExitRefused) return status;
  }
  checkSlash(destination);
  return worse(status, carryAll());
}

}  // namespace HOQ::cli
