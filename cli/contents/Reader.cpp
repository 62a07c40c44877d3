#include "contents/Reader.h"

#include <algorithm>
#include <set>

#include "PathText.h"
#include "contents/LocalSide.h"
#include "contents/Proof.h"

namespace HOQ::cli {
namespace {

constexpr std::uint32_t kFileBits = 0777;
constexpr std::uint32_t kOwnerReadsAndWrites = 0600;
constexpr std::uint32_t kOwnerWorks = 0700;
constexpr std::size_t kNamesAsked = 500;  // at once

}  // namespace

Reader::Reader(const ContentsOptions& options, Side& source, Side& target, Pieces& pieces,
               OpenLevels& levels, Outcome& outcome)
    : options_(options),
      source_(source),
      target_(target),
      local_(options.put ? source : target),
      remote_(options.put ? target : source),
      pieces_(pieces),
      levels_(levels),
      outcome_(outcome) {}

void Reader::run(const std::vector<Wanted>& items, const std::string& directory,
                 const std::string& placeName) {
  placeName_ = placeName;
  enter(withoutDoubles(items, directory), directory);
  pieces_.finish();
}

void Reader::runToStream(const std::vector<Wanted>& items) {
  for (const Wanted& wanted : items) {
    const auto job = std::make_shared<Job>();
    job->source = wanted.source;
    job->target = kStream;
    job->attributes = wanted.attributes;
    job->keepsPartial = true;
    if (options_.verify) job->digest.emplace();
    pieces_.copy(job);
  }
  pieces_.finish();
}

/// What is in directories of which the contents are wanted stands beside the other items. Of two
/// with one name, the first is taken.
std::vector<Wanted> Reader::withoutDoubles(const std::vector<Wanted>& items,
                                           const std::string& directory) {
  std::vector<Wanted> single;
  std::map<std::string, std::string> made;  // names, and what they are made from
  const auto take = [&](const Wanted& wanted) {
    const auto [first, fresh] = made.emplace(wanted.name, wanted.typed);
    if (fresh) return single.push_back(wanted);
    outcome_.failed(quoted(join(directory, wanted.name)) + " was just made from " +
                    quoted(first->second) + ", and is not replaced with " + quoted(wanted.typed));
  };
  for (const Wanted& wanted : items) {
    if (!wanted.contents) {
      take(wanted);
      continue;
    }
    try {
      pieces_.then(Reached{wanted.source});
      for (const Wanted& below : contentsOf(wanted.source)) take(below);
    } catch (const SideError& error) {
      outcome_.failed(error.what());
    }
  }
  return single;
}

/// Into a directory that is there.
void Reader::enter(const std::vector<Wanted>& items, const std::string& directory) {
  Folder folder;
  folder.level = std::make_shared<Level>(directory, placeName_);
  folder.path = directory;
  folder.isLevel = true;
  if (options_.inPlace) folder.work = directory;
  StagingPlace& place = folder.level->place;
  try {
    if (options_.resume && !options_.inPlace && place.isThere(target_)) (void)workOf(folder);
    children(items, folder);
  } catch (const SideError& error) {
    outcome_.failed(error.what());
  }
  pieces_.then(LevelEnd{folder.level});
}

/// Makes the level's place when it is first needed.
const std::string& Reader::workOf(Folder& folder) {
  StagingPlace& place = folder.level->place;
  if (folder.work.empty()) {
    levels_.add(folder.level);
    try {
      place.open(target_, options_.resume);
    } catch (const SideError& error) {
      throw DirectoryError(error.what());
    }
    folder.work = place.work();
  }
  return folder.work;
}

/// Files before directories, so that those of one directory go together.
void Reader::children(const std::vector<Wanted>& items, Folder& folder) {
  lookUp(items, folder);
  for (const bool directories : {false, true})
    for (const Wanted& wanted : items)
      if (wanted.attributes.isDirectory() == directories) item(wanted, folder);
}

void Reader::lookUp(const std::vector<Wanted>& items, Folder& folder) {
  if (!folder.isLevel) return;
  const bool resumed = folder.level->place.resumed();
  for (std::size_t begin = 0; begin < items.size(); begin += kNamesAsked) {
    std::vector<std::string> names;
    for (std::size_t i = begin; i < std::min(items.size(), begin + kNamesAsked); ++i)
      names.push_back(items[i].name);
    folder.there.merge(target_.examine(folder.path, names, false));
    if (resumed) folder.partial.merge(target_.examine(folder.work, names, false));
  }
}

void Reader::item(const Wanted& wanted, Folder& folder) {
  try {
    const Attributes& attributes = wanted.attributes;
    if (attributes.isDirectory()) return directory(wanted, folder);
    if (attributes.isFile() || wanted.source == kStream) return file(wanted, folder);
    outcome_.failed(quoted(wanted.source) + (attributes.isLink()
                                                 ? " is a link, and left out; -L follows links"
                                                 : " is no file, and left out"));
  } catch (const DirectoryError&) {
    throw;
  } catch (const SideError& error) {
    outcome_.failed(error.what());
  }
}

std::vector<Wanted> Reader::contentsOf(const std::string& directory) {
  Entries entries = source_.list(directory);
  for (const std::string& error : entries.errors) outcome_.failed(error);
  std::vector<Wanted> items;
  for (SideEntry& entry : entries.found) {
    if (!isEntryName(entry.name)) {
      outcome_.failed("a name in " + quoted(directory) + " is refused: " + quoted(entry.name));
      continue;
    }
    const std::string path = join(directory, entry.name);
    items.push_back({path, std::move(entry.name), entry.attributes, false, path});
  }
  return items;
}

/// Directories are merged into directories.
void Reader::directory(const Wanted& wanted, Folder& folder) {
  const auto there = folder.there.find(wanted.name);
  const std::string path = join(folder.path, wanted.name);
  if (there == folder.there.end()) return newDirectory(wanted, folder);
  if (!there->second.isDirectory())
    return outcome_.failed(quoted(path) + " is there, and is no directory");
  auto items = contentsOf(wanted.source);
  pieces_.then(Reached{wanted.source});
  enter(items, path);
  if (!options_.keep) return;
  DirectoryEnd end = endOf(wanted, path, wanted.attributes.mode);
  pieces_.then(std::move(end));
}

DirectoryEnd Reader::endOf(const Wanted& wanted, const std::string& path, std::int64_t mode) {
  DirectoryEnd end;
  end.path = path;
  end.mode = mode;
  if (options_.keep && target_.keepsTimes()) end.mtime = wanted.attributes.mtime;
  return end;
}

void Reader::newDirectory(const Wanted& wanted, Folder& folder) {
  auto items = contentsOf(wanted.source);  // first: one that cannot be read is not made
  Folder made;
  made.level = folder.level;
  made.path = join(folder.path, wanted.name);
  made.work = join(workOf(folder), wanted.name);
  const std::uint32_t wish = wanted.attributes.mode;
  const std::uint32_t usual = target_.reduced(wish);
  std::int64_t mode = Side::kModeIsRight;
  const auto partial = folder.partial.find(wanted.name);
  const bool left = partial != folder.partial.end() && partial->second.isDirectory();
  if (left) {
    target_.chmod({made.work}, kOwnerWorks);
    mode = usual;
    dropStrangers(items, made);
  } else {
    if (partial != folder.partial.end()) target_.remove(made.work, false);
    mode = target_.makeDirectory(made.work, wish);
  }
  if (options_.keep && (mode != Side::kModeIsRight || target_.reduced(wish) != wish)) mode = wish;
  pieces_.then(Reached{wanted.source});
  children(items, made);
  DirectoryEnd end = endOf(wanted, made.work, mode);
  if (folder.isLevel && !options_.inPlace) end.level = folder.level;
  pieces_.then(std::move(end));
}

/// What an earlier run has left, of which the source knows nothing any more, would arrive with the
/// rest.
void Reader::dropStrangers(const std::vector<Wanted>& items, Folder& folder) {
  std::set<std::string> names;
  for (const Wanted& wanted : items) names.insert(wanted.name);
  for (const SideEntry& left : target_.list(folder.work).found) {
    if (!isEntryName(left.name)) continue;
    if (names.count(left.name) != 0)
      folder.partial.emplace(left.name, left.attributes);
    else
      target_.remove(join(folder.work, left.name), left.attributes.isDirectory());
  }
}

void Reader::file(const Wanted& wanted, Folder& folder) {
  const auto job = std::make_shared<Job>();
  job->source = wanted.source;
  job->name = wanted.name;
  job->attributes = wanted.attributes;
  job->owner = folder.level;
  if (options_.verify) job->digest.emplace();
  const Target target = judge(wanted, folder, *job);
  if (target == Target::kRefused) return;
  if (target == Target::kThere) return pieces_.then(Reached{wanted.source, wanted.attributes.size});
  setModes(*job, target);
  pieces_.copy(job);
}

/// Decides where a file is written, and from which byte on.
Reader::Target Reader::judge(const Wanted& wanted, Folder& folder, Job& job) {
  job.target = join(folder.path, wanted.name);
  const auto there = folder.there.find(wanted.name);
  const bool exists = there != folder.there.end();
  if (exists) {
    const bool continuable = options_.resume && folder.partial.count(wanted.name) == 0;
    const Target target = judgeExisting(wanted, there->second, continuable, job);
    if (target != Target::kReplaced) return target;
  }
  if (options_.inPlace) {
    job.keepsPartial = true;
    job.replace = exists;
    return exists ? Target::kReplaced : Target::kNew;
  }
  job.target = join(workOf(folder), wanted.name);
  job.replaceFinal = exists;
  if (folder.isLevel) job.level = folder.level;
  job.keepsPartial = options_.resume && folder.isLevel;
  const auto partial = folder.partial.find(wanted.name);
  if (partial != folder.partial.end()) takeUp(partial->second, job);
  return job.failed ? Target::kRefused : Target::kNew;
}

/// What becomes of a file that is there under the final name.
Reader::Target Reader::judgeExisting(const Wanted& wanted, const Attributes& there,
                                     bool continuable, Job& job) {
  const std::string& path = job.target;
  const auto refuse = [this](const std::string& line) {
    outcome_.failed(line);
    return Target::kRefused;
  };
  if (options_.inPlace && options_.sameMachine && LocalSide::same(wanted.source, path))
    return refuse(quoted(wanted.source) + " and " + quoted(path) + " are the same item");
  if (!there.isFile() && !(there.isLink() && !options_.inPlace))
    return refuse(quoted(path) + " is there, and is no file");
  const bool stream = wanted.source == kStream;
  const std::uint64_t size = wanted.attributes.size;
  if (continuable && there.isFile() && (stream || there.size <= size)) {
    const bool complete = !stream && there.size == size;
    if (there.size == 0) return complete ? Target::kThere : Target::kReplaced;
    job.keepsPartial = true;
    if (continues(job, path, there.size)) return complete ? Target::kThere : Target::kContinued;
    if (job.failed) return Target::kRefused;
  }
  if (options_.force) return Target::kReplaced;
  return refuse("Can't overwrite " + quoted(path) + " with " + quoted(wanted.source) +
                " file exists");
}

/// What an earlier run has left in the place. What goes over in one piece goes over again.
void Reader::takeUp(const Attributes& left, Job& job) {
  const bool stream = job.source == kStream;
  const std::uint64_t size = job.attributes.size;
  job.replace = true;
  if (!left.isFile()) target_.remove(job.target, left.isDirectory());
  const bool worthwhile = left.isFile() && left.size != 0 &&
                          (stream || (left.size <= size && size >= Side::kPieceBytes));
  if (worthwhile && continues(job, job.target, left.size)) job.replace = false;
}

/// Whether the first `bytes` of the source are what is at `target`: then the job goes on there.
bool Reader::continues(Job& job, const std::string& target, std::uint64_t bytes) {
  const bool stream = job.source == kStream;
  const auto proven = options_.put ? sameBeginning(local_, job.source, remote_, target, bytes)
                                   : sameBeginning(local_, target, remote_, job.source, bytes);
  if (!proven) {
    if (!stream) return false;
    job.failed = true;  // what was read of it does not come again
    outcome_.failed(quoted(target) + " is no beginning of the input; try again without --resume");
    return false;
  }
  job.start = bytes;
  job.target = target;
  if (job.digest) job.digest.emplace(*proven);
  return true;
}

void Reader::setModes(Job& job, Target target) {
  const std::uint32_t wish = job.attributes.mode & kFileBits;
  const std::uint32_t end = options_.keep ? wish : target_.reduced(wish);
  // What is opened more than once must let its owner in.
  const std::uint64_t size = job.attributes.size;
  const bool reopened =
      options_.verify || options_.resume || size == 0 || size >= Side::kPieceBytes;
  job.mode = reopened ? wish | kOwnerReadsAndWrites : wish;
  const bool made = !job.replace && job.start == 0;
  const bool right = made ? target_.reduced(job.mode) == end
                          : target != Target::kNew && !options_.keep;  // it keeps its own
  if (!right) job.finalMode = end;
  if (options_.keep && target_.keepsTimes()) job.mtime = job.attributes.mtime;
}

}  // namespace HOQ::cli
