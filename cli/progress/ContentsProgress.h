#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "Session.h"
#include "progress/ProgressLine.h"

namespace HOQ::cli {

/// Shows where a transfer of contents stands, from what its writer says: as the console's progress
/// line, as JSON lines with --json, in the summary of -v. Called by the writer's thread; the
/// console's own thread asks for the line.
class ContentsProgress {
 public:
  /// `session` is not owned. `operation`: as events name it. `silent`: no events, since standard
  /// output holds contents.
  ContentsProgress(Session& session, const char* operation, bool silent);
  ContentsProgress(const ContentsProgress&) = delete;
  ContentsProgress& operator=(const ContentsProgress&) = delete;
  ~ContentsProgress();

  /// Whether anything is shown that a total makes better.
  bool wantsTotal() const { return wantsTotal_; }
  void setTotal(const Amount& total);

  /// An item is come to; bytes of it have arrived; it is done.
  void begins(const std::string& path);
  void moved(std::uint64_t bytes);
  void done();

  /// Ends the progress line and leaves the summary with the session.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;

  void writeEvent();
  Standing standing() const;

  Session& session_;
  const char* const operation_;
  const bool events_;
  const bool wantsTotal_;
  std::string path_;              // of the item in hand
  std::uint64_t sinceEvent_ = 0;  // bytes

  mutable std::mutex mutex_;  // guards what follows
  Clock::time_point started_;
  Amount done_;
  std::optional<Amount> total_;
};

}  // namespace HOQ::cli
