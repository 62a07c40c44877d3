#include "contents/Pieces.h"

#include <algorithm>
#include <utility>

#include "PathText.h"

namespace HOQ::cli {

namespace {

constexpr std::size_t kLateChunks = 8;  // in a batch

}  // namespace

bool isUnchanged(Side& source, const Job& job, std::uint64_t bytes) {
  Attributes now;
  const Attributes& then = job.attributes;
  try {
    return bytes == then.size && examineItem(source, job.source, true, now) &&
           now.size == then.size && now.mtime == then.mtime && now.stamp == then.stamp;
  } catch (const SideError&) {
    return false;
  }
}

std::string changedText(const Job& job) {
  return quoted(job.source) + " was changed while it was read";
}

Pieces::Pieces(const ContentsOptions& options, Side& source, BatchQueue& queue,
               const Interruption& interruption, Outcome& outcome)
    : source_(source),
      queue_(queue),
      interruption_(interruption),
      outcome_(outcome),
      digests_(options.put),
      late_(options.readsLate()),
      batch_(queue.fresh()) {}

void Pieces::ask(const JobPtr& job, std::uint64_t offset, std::size_t wanted) {
  if (!batch_->fits(wanted) || asked_.size() + batch_->steps.size() >= Batch::kItems) readAsked();
  if (!batch_->fits(wanted)) handOver();
  ReadPiece piece;
  piece.path = job->source;
  piece.offset = offset;
  piece.wanted = wanted;
  piece.buffer = batch_->reserve(wanted);
  asked_.push_back(std::move(piece));
  jobs_.push_back(job);
}

/// Of a small file one byte more is asked for than there should be: the answer tells its end.
void Pieces::copy(const JobPtr& job) {
  if (job->source == kStream) return copyToEnd(job, job->start);
  const std::uint64_t left = job->attributes.size - job->start;
  if (left >= Side::kPieceBytes) return late_ && !job->digest ? copyLate(job) : copyKnown(job);
  ask(job, job->start, static_cast<std::size_t>(left) + 1);
}

void Pieces::copyKnown(const JobPtr& job) {
  const std::uint64_t size = job->attributes.size;
  for (std::uint64_t offset = job->start; offset < size && !job->failed;) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(Side::kPieceBytes, size - offset));
    ask(job, offset, wanted);
    offset += wanted;
  }
}

void Pieces::copyLate(const JobPtr& job) {
  readAsked();
  const std::uint64_t size = job->attributes.size;
  for (std::uint64_t offset = job->start; offset < size && !job->failed;) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(Side::kPieceBytes, size - offset));
    batch_->chunks.push_back({job, offset, nullptr, wanted, offset + wanted == size});
    offset += wanted;
    if (batch_->chunks.size() >= kLateChunks) handOver();
  }
}

void Pieces::copyToEnd(const JobPtr& job, std::uint64_t offset) {
  for (; !job->readToEnd && !job->failed; offset += Side::kPieceBytes) {
    ask(job, offset, Side::kPieceBytes);
    readAsked();
  }
}

void Pieces::readAsked() {
  if (asked_.empty()) return;
  interruption_.check();
  source_.read(asked_);
  const auto pieces = std::exchange(asked_, {});
  const auto jobs = std::exchange(jobs_, {});
  for (std::size_t i = 0; i < pieces.size(); ++i) take(pieces[i], jobs[i]);
  if (longer_.empty()) return handOver();
  auto steps = std::exchange(batch_->steps, {});  // they come behind all contents
  handOver();
  for (const JobPtr& job : std::exchange(longer_, {})) copyToEnd(job, 1);
  for (Step& step : steps) then(std::move(step));
}

void Pieces::take(const ReadPiece& piece, const JobPtr& job) {
  if (job->failed) return;
  if (!piece.error.empty()) return fail(job, piece.error);
  const std::uint64_t size = job->attributes.size;
  const std::uint64_t end = piece.offset + piece.got;
  const bool whole = piece.offset == 0 && piece.got < piece.wanted;
  const bool known = size != 0 && job->source != kStream;
  const bool last = piece.got < piece.wanted || (known && end >= size);
  if (known && last && !whole && !isUnchanged(source_, *job, end))
    return fail(job, changedText(*job));
  if (digests_ && job->digest) job->digest->add(piece.buffer, piece.got);
  job->readToEnd = last;
  batch_->chunks.push_back({job, piece.offset, piece.buffer, piece.got, last});
  if (!last && size == 0 && piece.wanted == 1) longer_.push_back(job);
}

void Pieces::fail(const JobPtr& job, const std::string& line) {
  job->failed = true;
  outcome_.failed(line);
  batch_->steps.push_back(JobFailed{job});
}

void Pieces::then(Step step) {
  batch_->steps.push_back(std::move(step));
  if (asked_.size() + batch_->steps.size() < Batch::kItems) return;
  readAsked();
  handOver();
}

void Pieces::handOver() {
  if (!asked_.empty()) return;
  if (batch_->empty()) return batch_->clear();  // what was read into it is not wanted any more
  queue_.push(std::move(batch_));
  batch_ = queue_.fresh();
}

void Pieces::finish() {
  readAsked();
  handOver();
}

}  // namespace HOQ::cli
