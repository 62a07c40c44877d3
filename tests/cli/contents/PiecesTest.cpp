#include "contents/Pieces.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "cli/contents/MemorySide.h"

namespace HOQ::cli {
namespace {

using test::MemorySide;
using test::MemoryStore;

/// Notes where pieces are to be read to, and lets the writer, as it were, fail meanwhile.
class FailingSide : public MemorySide {
 public:
  using MemorySide::MemorySide;

  void read(std::vector<ReadPiece>& pieces) override {
    for (const ReadPiece& piece : pieces) places.push_back(piece.buffer);
    MemorySide::read(pieces);
    job->failed = true;
  }

  JobPtr job;
  std::vector<char*> places;
};

TEST(Pieces, WhatIsReadForAFileThatFailedMeanwhileTakesNoRoom) {
  const auto store = std::make_shared<MemoryStore>();
  store->file("/f", std::string(Batch::kBytes + 10 * Side::kPieceBytes, 'x'));
  FailingSide side(store);
  const JobPtr job = side.job = std::make_shared<Job>();
  job->source = "/f";
  ASSERT_TRUE(examineItem(side, "/f", true, job->attributes));
  BatchQueue queue;
  const Interruption interruption;
  Outcome outcome([](const std::string&) {});
  Pieces pieces(ContentsOptions(), side, queue, interruption, outcome);
  pieces.copy(job);
  pieces.finish();
  constexpr std::size_t kInABatch = Batch::kBytes / Side::kPieceBytes;
  ASSERT_EQ(side.places.size(), kInABatch + 1) << "one more was asked for before it was noticed";
  EXPECT_EQ(side.places[kInABatch], side.places[0]) << "the batch's beginning, not behind its end";
}

}  // namespace
}  // namespace HOQ::cli
