#include "progress/ContentsProgress.h"

#include <utility>

#include "call/Events.h"

namespace HOQ::cli {
namespace {

/// Of a large file further events tell, each time that so much of it has arrived.
constexpr std::uint64_t kBetweenEvents = 64 * 1024 * 1024;

}  // namespace

ContentsProgress::ContentsProgress(Session& session, const char* operation, bool silent)
    : session_(session),
      operation_(operation),
      events_(!silent && session.settings().json && session.settings().progress != When::kNever &&
              !session.settings().quiet),
      wantsTotal_(events_ || session.console().showsProgress()),
      started_(Clock::now()) {
  session_.console().describeProgress([this] { return progressLine(standing()); });
}

ContentsProgress::~ContentsProgress() { session_.console().describeProgress(nullptr); }

void ContentsProgress::setTotal(const Amount& total) {
  const std::lock_guard<std::mutex> lock(mutex_);
  total_ = total;
  started_ = Clock::now();
}

void ContentsProgress::begins(const std::string& path) {
  if (!events_) return;
  path_ = path;
  writeEvent();
}

void ContentsProgress::moved(std::uint64_t bytes) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    done_.bytes += bytes;
  }
  if (!events_) return;
  sinceEvent_ += bytes;
  if (sinceEvent_ >= kBetweenEvents) writeEvent();
}

void ContentsProgress::done() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++done_.items;
}

void ContentsProgress::writeEvent() {
  sinceEvent_ = 0;
  HOQRequestProgressData event(path_);
  event.operation = operation_;
  const Standing now = standing();
  event.percent = now.percent();
  event.parameters.push_back({"items", now.done.items});
  event.parameters.push_back({"bytes", now.done.bytes});
  if (const auto total = now.knownTotal()) {
    event.parameters.push_back({"totalItems", total->items});
    event.parameters.push_back({"totalBytes", total->bytes});
  }
  appendEvent(session_.output(), event);
  session_.output().append("\n");
  session_.output().flush();
}

void ContentsProgress::finish() {
  session_.console().stopProgress();
  session_.setSummary(summaryText(standing()));
}

Standing ContentsProgress::standing() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return {done_, total_,
          std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started_)};
}

}  // namespace HOQ::cli
