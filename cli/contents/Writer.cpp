#include "contents/Writer.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "PathText.h"
#include "contents/Pieces.h"
#include "contents/Proof.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kMovedAtOnce = 500;
constexpr std::size_t kSettledAlone = 16;  // files, rather than the whole file system
constexpr std::uint32_t kOwnerWrites = 0200;

bool isWhole(const Chunk& chunk) { return chunk.last && chunk.offset == 0; }

}  // namespace

Writer::Writer(const ContentsOptions& options, Side& source, Side& target, Outcome& outcome,
               ContentsProgress& progress)
    : options_(options),
      source_(source),
      target_(target),
      remote_(options.put ? target : source),
      outcome_(outcome),
      progress_(progress) {}

void Writer::write(Batch& batch) {
  const Chunks chunks = chunksToWrite(batch);
  if (!options_.put) digest(chunks);
  Chunks loaded;
  std::copy_if(chunks.begin(), chunks.end(), std::back_inserter(loaded),
               [](const Chunk* chunk) { return chunk->data != nullptr; });
  writeChunks(loaded);
  for (Chunk* chunk : chunks)
    if (chunk->data == nullptr) writeLate(*chunk);
  if (options_.verify) verify(chunks);
  giveModes(chunks);
  for (const Chunk* chunk : chunks)
    if (chunk->last && !chunk->job->failed) finish(*chunk);
  for (Step& step : batch.steps) std::visit([this](auto& what) { perform(what); }, step);
}

/// What is made with the same mode goes over by one request.
Writer::Chunks Writer::chunksToWrite(Batch& batch) {
  Chunks chunks;
  for (Chunk& chunk : batch.chunks)
    if (!chunk.job->failed) chunks.push_back(&chunk);
  std::stable_sort(chunks.begin(), chunks.end(), [](const Chunk* a, const Chunk* b) {
    return std::make_pair(a->job->mode, a->job->replace) <
           std::make_pair(b->job->mode, b->job->replace);
  });
  return chunks;
}

void Writer::digest(const Chunks& chunks) {
  for (const Chunk* chunk : chunks)
    if (chunk->job->digest) chunk->job->digest->add(chunk->data, chunk->size);
}

void Writer::writeChunks(const Chunks& chunks) {
  std::vector<WritePiece> pieces;
  pieces.reserve(chunks.size());
  for (const Chunk* chunk : chunks) {
    Job& job = *chunk->job;
    if (chunk->offset == job.start) progress_.begins(job.source);
    WritePiece piece;
    piece.path = job.target;
    piece.offset = chunk->offset;
    piece.data = chunk->data;
    piece.size = chunk->size;
    piece.mode = job.mode;
    piece.replace = job.replace;
    piece.last = chunk->last;
    pieces.push_back(std::move(piece));
  }
  if (!pieces.empty()) target_.write(pieces);
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    Job& job = *chunks[i]->job;
    if (!pieces[i].error.empty())
      fail(job, pieces[i].error);
    else if (!job.failed)
      progress_.moved(chunks[i]->size);
  }
}

void Writer::writeLate(Chunk& chunk) {
  Job& job = *chunk.job;
  if (job.failed) return;
  if (!memory_) memory_ = std::make_unique<Memory>(Batch::kBytes + Batch::kItems);
  std::vector<ReadPiece> asked(1);
  ReadPiece& piece = asked.front();
  piece.path = job.source;
  piece.offset = chunk.offset;
  piece.wanted = chunk.size;
  piece.buffer = memory_->get();
  source_.read(asked);
  if (!piece.error.empty()) return fail(job, piece.error);
  if (piece.got < piece.wanted ||
      (chunk.last && !isUnchanged(source_, job, chunk.offset + piece.got)))
    return fail(job, changedText(job));
  chunk.data = piece.buffer;
  writeChunks({&chunk});
}

void Writer::verify(const Chunks& chunks) {
  verifySmall(chunks);
  for (const Chunk* chunk : chunks) {
    Job& job = *chunk->job;
    if (!chunk->last || isWhole(*chunk) || job.failed) continue;
    if (!isSame(job, chunk->offset + chunk->size))
      fail(job, quoted(remotePath(job)) + " is not what was " +
                    (options_.put ? "sent" : "received") + ": SHA-256 differs");
  }
}

const std::string& Writer::remotePath(const Job& job) const {
  return options_.put ? job.target : job.source;
}

bool Writer::isSame(Job& job, std::uint64_t size) {
  try {
    const auto there = digestOfBeginning(remote_, remotePath(job), size);
    return there && there->value() == job.digest->value();
  } catch (const SideError& error) {
    outcome_.failed(error.what());
    return false;
  }
}

/// Files that went over in one piece are still in the batch.
void Writer::verifySmall(const Chunks& chunks) {
  if (!memory_) memory_ = std::make_unique<Memory>(Batch::kBytes + Batch::kItems);
  std::vector<ReadPiece> pieces;
  Chunks whole;
  char* place = memory_->get();
  for (Chunk* chunk : chunks) {
    if (!isWhole(*chunk) || chunk->job->failed) continue;
    ReadPiece piece;
    piece.path = remotePath(*chunk->job);
    piece.wanted = std::min(chunk->size + 1, Side::kPieceBytes);
    piece.buffer = place;
    place += piece.wanted;
    pieces.push_back(std::move(piece));
    whole.push_back(chunk);
  }
  if (pieces.empty()) return;
  remote_.read(pieces);
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const Chunk& chunk = *whole[i];
    const ReadPiece& piece = pieces[i];
    if (!piece.error.empty())
      fail(*chunk.job, piece.error);
    else if (piece.got != chunk.size || !std::equal(chunk.data, chunk.data + chunk.size,
                                                    static_cast<const char*>(piece.buffer)))
      fail(*chunk.job, quoted(piece.path) + " is not what was " +
                           (options_.put ? "sent" : "received") + ": its contents differ");
  }
}

void Writer::giveModes(const Chunks& chunks) {
  std::map<std::uint32_t, std::vector<const Chunk*>> byMode;
  for (const Chunk* chunk : chunks)
    if (chunk->last && !chunk->job->failed && chunk->job->finalMode)
      byMode[*chunk->job->finalMode].push_back(chunk);
  for (const auto& [mode, alike] : byMode) {
    std::vector<std::string> paths;
    for (const Chunk* chunk : alike) paths.push_back(chunk->job->target);
    try {
      target_.chmod(paths, mode);
    } catch (const SideError& error) {
      for (const Chunk* chunk : alike) fail(*chunk->job, error.what());
    }
  }
}

void Writer::finish(const Chunk& chunk) {
  Job& job = *chunk.job;
  try {
    if (job.mtime && job.target != kStream) target_.setTime(job.target, *job.mtime);
  } catch (const SideError& error) {
    return fail(job, error.what());
  }
  if (job.level)
    (job.replaceFinal ? job.level->replacing : job.level->files).push_back(job.name);
  else if (job.owner)
    job.owner->written = true;
  progress_.done();
}

void Writer::fail(Job& job, const std::string& line) {
  if (job.failed.exchange(true)) return;
  outcome_.failed(line);
  discard(job);
}

/// Removes what has arrived of a file: nothing half stands where it might be moved with others.
void Writer::discard(Job& job) {
  if (job.keepsPartial) {
    if (job.level) job.level->kept = true;
    return;
  }
  if (job.target == kStream) return;
  try {
    Attributes there;
    if (examineItem(target_, job.target, false, there)) target_.remove(job.target, false);
  } catch (const SideError& error) {
    outcome_.failed(error.what());
  }
}

void Writer::perform(const Reached& reached) {
  progress_.begins(reached.path);
  progress_.moved(reached.bytes);
  progress_.done();
}

void Writer::perform(const JobFailed& failed) { discard(*failed.job); }

void Writer::perform(DirectoryEnd& end) {
  try {
    if (end.mode != Side::kModeIsRight) {
      const auto mode = static_cast<std::uint32_t>(end.mode);
      // One that its owner may not write to cannot be moved by its owner.
      const std::uint32_t movable = end.level ? mode | kOwnerWrites : mode;
      target_.chmod({end.path}, movable);
      if (movable != mode) end.level->afterMove.emplace_back(leafOf(end.path), mode);
    }
    if (end.mtime) target_.setTime(end.path, *end.mtime);
  } catch (const SideError& error) {
    outcome_.failed(error.what());
  }
  if (!end.level) return;
  end.level->trees.push_back(leafOf(end.path));
}

void Writer::perform(const LevelEnd& end) {
  Level& level = *end.level;
  const StagingPlace& place = level.place;
  try {
    if (place.isOpen()) {
      std::vector<std::string> names = level.files;
      names.insert(names.end(), level.replacing.begin(), level.replacing.end());
      const bool few = level.trees.empty() && names.size() <= kSettledAlone;
      if (!names.empty() || !level.trees.empty())
        target_.settle(place.work(), few ? names : std::vector<std::string>());
      moveOut(level, level.files, false);
      moveOut(level, level.replacing, true);
      moveOut(level, level.trees, false);
      for (const auto& [name, mode] : level.afterMove)
        target_.chmod({join(place.directory(), name)}, mode);
    } else if (level.written) {
      target_.settle(place.directory(), {});
    }
  } catch (const SideError& error) {
    level.kept = level.kept || options_.resume;
    outcome_.failed(error.what());
  }
  if (!level.kept) place.discard(target_);
  level.ended = true;
}

void Writer::moveOut(Level& level, const std::vector<std::string>& names, bool replace) {
  for (std::size_t begin = 0; begin < names.size(); begin += kMovedAtOnce) {
    const std::size_t end = std::min(names.size(), begin + kMovedAtOnce);
    std::vector<std::string> paths;
    for (std::size_t i = begin; i < end; ++i) paths.push_back(join(level.place.work(), names[i]));
    try {
      target_.moveInto(paths, level.place.directory(), replace);
    } catch (const SideError&) {
      // It ended at one of them: which, and what becomes of the others, is found out one by one.
      for (std::size_t i = begin; i < end; ++i) moveOne(level, names[i], replace);
    }
  }
}

void Writer::moveOne(Level& level, const std::string& name, bool replace) {
  const std::string path = join(level.place.work(), name);
  const std::string target = join(level.place.directory(), name);
  try {
    Attributes found;
    if (!examineItem(target_, path, false, found)) return;  // it was moved
    target_.moveInto({path}, level.place.directory(), replace);
  } catch (const SideError& error) {
    outcome_.failed(error.what());
    level.kept = level.kept || options_.resume;
    Attributes found;
    if (replace && !examineItem(target_, target, false, found)) {
      level.kept = true;
      outcome_.failed(quoted(target) + " is gone; what was to replace it is " + quoted(path));
    }
  }
}

}  // namespace HOQ::cli
