#pragma once

#include <string>
#include <vector>

#include "contents/Batch.h"
#include "contents/BatchQueue.h"
#include "contents/ContentsOptions.h"
#include "contents/Interruption.h"
#include "contents/Outcome.h"

namespace HOQ::cli {

/// Whether a job's file, of which `bytes` were read, is still what it was when it was looked at.
bool isUnchanged(Side& source, const Job& job, std::uint64_t bytes);

/// What is said of one that is not.
std::string changedText(const Job& job);

/// Reads files in pieces, many of them by one request, and hands them over in batches. One thread.
class Pieces {
 public:
  /// Nothing is owned.
  Pieces(const ContentsOptions& options, Side& source, BatchQueue& queue,
         const Interruption& interruption, Outcome& outcome);

  /// Reads a file from job->start to its end.
  void copy(const JobPtr& job);
  /// To be done when everything so far is written.
  void then(Step step);
  /// Hands over what there is.
  void finish();

 private:
  void ask(const JobPtr& job, std::uint64_t offset, std::size_t wanted);
  void copyKnown(const JobPtr& job);
  void copyLate(const JobPtr& job);
  void copyToEnd(const JobPtr& job, std::uint64_t offset);
  void readAsked();
  void take(const ReadPiece& piece, const JobPtr& job);
  void fail(const JobPtr& job, const std::string& line);
  void handOver();

  Side& source_;
  BatchQueue& queue_;
  const Interruption& interruption_;
  Outcome& outcome_;
  const bool digests_;  // of the jobs are computed here
  const bool late_;
  BatchPtr batch_;
  std::vector<ReadPiece> asked_;
  std::vector<JobPtr> jobs_;    // of the pieces that are asked for
  std::vector<JobPtr> longer_;  // of which nobody knew how long they are
};

}  // namespace HOQ::cli
