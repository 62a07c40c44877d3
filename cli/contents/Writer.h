#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contents/Batch.h"
#include "contents/ContentsOptions.h"
#include "contents/Outcome.h"
#include "progress/ContentsProgress.h"

namespace HOQ::cli {

/// Writes what batches bring, and does what is to be done when a file, a directory, everything is
/// there: compares, gives modes and times, moves out of the places. One thread; its own sides.
class Writer {
 public:
  /// Nothing is owned.
  Writer(const ContentsOptions& options, Side& source, Side& target, Outcome& outcome,
         ContentsProgress& progress);

  void write(Batch& batch);

 private:
  using Chunks = std::vector<Chunk*>;

  Chunks chunksToWrite(Batch& batch);
  void writeChunks(const Chunks& chunks);
  void writeLate(Chunk& chunk);
  void digest(const Chunks& chunks);
  void verify(const Chunks& chunks);
  void verifySmall(const Chunks& chunks);
  bool isSame(Job& job, std::uint64_t size);
  void giveModes(const Chunks& chunks);
  void finish(const Chunk& chunk);
  void fail(Job& job, const std::string& line);
  void discard(Job& job);
  const std::string& remotePath(const Job& job) const;

  void perform(const Reached& reached);
  void perform(const JobFailed& failed);
  void perform(DirectoryEnd& end);
  void perform(const LevelEnd& end);
  void moveOut(Level& level, const std::vector<std::string>& names, bool replace);
  void moveOne(Level& level, const std::string& name, bool replace);

  const ContentsOptions& options_;
  Side& source_;
  Side& target_;
  Side& remote_;
  Outcome& outcome_;
  ContentsProgress& progress_;
  std::unique_ptr<Memory> memory_;  // for what is read here: back, or late
};

}  // namespace HOQ::cli
