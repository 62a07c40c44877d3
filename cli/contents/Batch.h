#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "contents/Digest.h"
#include "contents/Memory.h"
#include "contents/Side.h"
#include "contents/StagingPlace.h"

namespace HOQ::cli {

/// A directory of the target side that was there before, and what comes into it. Made by the
/// reader; once a batch that names it has been handed over, the writer's.
struct Level {
  Level(std::string directory, const std::string& placeName)
      : place(std::move(directory), placeName) {}

  StagingPlace place;  // not open where things are made in place

  // The writer's: what is whole, and waits to be moved out.
  std::vector<std::string> files;      // names that nothing may stand under
  std::vector<std::string> replacing;  // names that may be replaced
  std::vector<std::string> trees;      // names of directories
  std::vector<std::pair<std::string, std::uint32_t>> afterMove;  // their modes, where not before
  bool kept = false;               // the place holds what a later run may go on with
  std::atomic<bool> ended{false};  // nothing is left to be tidied up; the reader asks
  bool written = false;            // something was written that is not moved
};

/// What a directory is given when everything is in it.
struct DirectoryEnd {
  std::string path;
  std::int64_t mode = Side::kModeIsRight;
  std::optional<std::int64_t> mtime;
  std::shared_ptr<Level> level;  // set: it is moved out of the level's place
};

/// One file on its way. The reader fills it in before it is handed over.
struct Job {
  std::string source;
  std::string target;                      // where it is written
  std::string name;                        // its last component
  Attributes attributes;                   // of the source, when it was looked at
  std::uint64_t start = 0;                 // bytes that are there already
  std::uint32_t mode = 0;                  // to make the file with
  std::optional<std::uint32_t> finalMode;  // where the first is not to stay
  std::optional<std::int64_t> mtime;       // to be kept
  bool replace = false;                    // what stands at `target`
  bool replaceFinal = false;               // what stands where it is moved to
  bool keepsPartial = false;               // a failure leaves what has arrived
  std::shared_ptr<Level> level;            // set: it is moved out of the level's place
  std::shared_ptr<Level> owner;            // the level that it belongs to in any case

  bool readToEnd = false;        // the reader's
  std::optional<Digest> digest;  // of its bytes; the thread's that deals with the client's side
  std::atomic<bool> failed{false};
};
using JobPtr = std::shared_ptr<Job>;

/// A piece of a file's contents.
struct Chunk {
  JobPtr job;
  std::uint64_t offset = 0;
  const char* data = nullptr;  // the batch's; null: whoever writes it reads it
  std::size_t size = 0;
  bool last = false;
};

/// A file is not whole, although nobody failed to write it.
struct JobFailed {
  JobPtr job;
};
/// Nothing further comes into a level.
struct LevelEnd {
  std::shared_ptr<Level> level;
};
/// An item that needs nothing written has been reached: a directory, a file that is there already.
struct Reached {
  std::string path;
  std::uint64_t bytes = 0;
};
using Step = std::variant<Reached, JobFailed, DirectoryEnd, LevelEnd>;

/// What goes from the thread that reads to the one that writes: pieces, then what is to be done
/// when they are written.
class Batch {
 public:
  static constexpr std::size_t kBytes = 2 * 1024 * 1024;
  static constexpr std::size_t kItems = 512;

  Batch() : memory_(kBytes) {}

  /// Room for `size` bytes. Call only after fits().
  char* reserve(std::size_t size) {
    char* const place = memory_.get() + used_;
    used_ += size;
    return place;
  }
  bool fits(std::size_t size) const {
    return used_ + size <= kBytes && chunks.size() + steps.size() < kItems;
  }
  bool empty() const { return chunks.empty() && steps.empty(); }
  void clear() {
    chunks.clear();
    steps.clear();
    used_ = 0;
  }

  std::vector<Chunk> chunks;
  std::vector<Step> steps;

 private:
  const Memory memory_;
  std::size_t used_ = 0;
};
using BatchPtr = std::unique_ptr<Batch>;

}  // namespace HOQ::cli
