#include "progress/TransferProgress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "call/Events.h"

namespace HOQ::cli {
namespace {

/// Files of this size take long enough that one looks how far they are.
constexpr std::uint64_t kWatched = 1024 * 1024;

/// Asks for an item beside the request that is running, with its news left to nobody.
std::optional<HOQFileType> examine(Node& node, const std::string& path, bool followLinks) {
  News::Counter ignored{0};
  const NewsPtr news(new News(ignored));
  HOQFiler::FileTypes records;
  // What cannot be examined has no size that anybody knows; its own request says why.
  (void)node.filer(join(parentOf(path), "."), news)
      ->stat({leafOf(path)}, &records,
             HOQFilerOptions(followLinks ? HOQFilerOptions::kFollowLinks : 0),
             HOQFileType::kType | HOQFileType::kSize);
  if (records.empty()) return std::nullopt;
  return *records.front();
}

std::uint64_t bytesOf(const std::optional<HOQFileType>& item) {
  return item && item->type == HOQFileType::kRegular ? item->size : 0;
}

}  // namespace

TransferProgress::TransferProgress(Session& session, bool followLinks)
    : session_(session),
      followLinks_(followLinks),
      wanted_(session.console().showsProgress() || session.settings().json ||
              (session.settings().verbose && !session.settings().quiet)),
      events_(session.settings().json && session.settings().progress != When::kNever &&
              !session.settings().quiet),
      started_(Clock::now()) {
  if (!wanted_) {
    session_.news().onProgress = [](const HOQRequestProgressData&) {};
    return;
  }
  node_ = &session_.node();
  session_.news().onProgress = [this](const HOQRequestProgressData& record) { reached(record); };
  session_.console().describeProgress([this] { return line(); });
}

TransferProgress::~TransferProgress() {
  session_.news().onProgress = nullptr;
  if (wanted_) session_.console().describeProgress(nullptr);
}

void TransferProgress::count(const Count& count) {
  const NewsPtr news(new News(counted_));
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    counting_ = true;
  }
  const auto before = Clock::now();
  const std::optional<Amount> found = count(news);
  const std::lock_guard<std::mutex> lock(mutex_);
  counting_ = false;
  started_ += Clock::now() - before;  // the pace is the work's, not the count's
  total_ = found;
  if (!total_) return;
  total_->items += done_.items;
  total_->bytes += done_.bytes;
}

void TransferProgress::countWhenNeeded(Count count) { countWhenNeeded_ = std::move(count); }

/// On the request's thread, in the middle of the request. Must not throw.
void TransferProgress::reached(const HOQRequestProgressData& record) {
  anyReached_ = true;
  settle();
  const auto item = examine(*node_, record.status, followLinks_);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    inHand_ = bytesOf(item);
    // Everything that a request carries lies below its source.
    inHandResult_ = result_ + record.status.substr(std::min(source_.size(), record.status.size()));
  }
  if (countWhenNeeded_ && item && item->type == HOQFileType::kDirectory)
    count(std::exchange(countWhenNeeded_, nullptr));
  if (events_ && !outputLost_) writeEvent(record);
}

/// A further record, or a good end, says that the item before is done.
void TransferProgress::settle() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!inHand_) return;
  ++done_.items;
  done_.bytes += *inHand_;
  inHand_.reset();
}

void TransferProgress::writeEvent(const HOQRequestProgressData& record) {
  HOQRequestProgressData event = record;
  const Standing now = standing();
  event.percent = now.percent();
  event.parameters.push_back({"items", now.done.items});
  event.parameters.push_back({"bytes", now.done.bytes});
  if (const auto total = now.knownTotal()) {
    event.parameters.push_back({"totalItems", total->items});
    event.parameters.push_back({"totalBytes", total->bytes});
  }
  try {
    appendEvent(session_.output(), event);
    session_.output().append("\n");
    session_.output().flush();
  } catch (const CommandError& error) {
    outputLost_.emplace(error);
  }
}

void TransferProgress::requestBegins(const std::string& source, const std::string& result) {
  source_ = source;
  result_ = result;
}

void TransferProgress::requestEnded(bool good) {
  if (!wanted_) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!good) inHand_.reset();
    if (good && !anyReached_) inHand_ = 0;  // a directory was renamed, which is not told of
  }
  settle();
  anyReached_ = false;
  if (outputLost_) throw CommandError(*outputLost_);
}

void TransferProgress::finish() {
  if (!wanted_) return;
  session_.console().stopProgress();
  session_.setSummary(summaryText(standing()));
}

Standing TransferProgress::standing() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return {done_, total_,
          std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started_)};
}

/// How much of a large file has arrived: nothing tells of that but its size there.
std::string TransferProgress::line() {
  std::uint64_t whole = 0;
  std::string result;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (counting_) return fmt::format("counting, {} items", counted_.load());
    whole = inHand_.value_or(0);
    result = inHandResult_;
  }
  Standing now = standing();
  if (whole >= kWatched) {
    const auto stay = node_->enter();
    const std::uint64_t arrived = bytesOf(examine(*node_, result, false));
    const std::lock_guard<std::mutex> lock(mutex_);
    if (inHandResult_ == result && inHand_) now.done.bytes = done_.bytes + std::min(whole, arrived);
  }
  return progressLine(now);
}

}  // namespace HOQ::cli
