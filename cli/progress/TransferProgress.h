#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "Session.h"
#include "progress/ProgressLine.h"

namespace HOQ::cli {

/// Follows the requests of a copy or move by their progress records, one for each item before it
/// is touched, and shows where the work stands: as the console's progress line, as JSON lines
/// with --json, in the summary of -v. Where none of these is wanted it does nothing.
///
/// Used by the thread that runs the requests; the console's own thread asks for the line.
class TransferProgress {
 public:
  /// Counts what is still to be done: by requests of its own, told to `counted` item by item.
  using Count = std::function<std::optional<Amount>(const HOQRequestHandlerPtr& counted)>;

  /// `session` is not owned. `followLinks`: links are carried as what they lead to.
  TransferProgress(Session& session, bool followLinks);
  TransferProgress(const TransferProgress&) = delete;
  TransferProgress& operator=(const TransferProgress&) = delete;
  ~TransferProgress();

  bool wanted() const { return wanted_; }

  /// Counts now, and adds it to what is done for the total. A count that gives nothing leaves the
  /// total unknown.
  void count(const Count& count);
  /// Counts when the next request comes to a directory, if it does: a move that is one rename
  /// need not know what is in it.
  void countWhenNeeded(Count count);

  /// A request begins: where its progress records say `source`, the new item is `result`.
  void requestBegins(const std::string& source, const std::string& result);
  /// A request has ended. Throws what kept its progress from being written.
  void requestEnded(bool good);

  /// Ends the progress line and leaves the summary with the session.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;

  void reached(const HOQRequestProgressData& record);
  void writeEvent(const HOQRequestProgressData& record);
  void settle();
  Standing standing() const;
  std::string line();

  Session& session_;
  const bool followLinks_;
  const bool wanted_;
  const bool events_;
  Count countWhenNeeded_;
  Node* node_ = nullptr;  // not owned; set where anything is wanted
  std::string source_;    // of the request
  std::string result_;
  News::Counter counted_{0};
  bool anyReached_ = false;                 // in this request
  std::optional<CommandError> outputLost_;  // no further events

  mutable std::mutex mutex_;  // guards what follows
  Clock::time_point started_;
  Amount done_;
  std::optional<Amount> total_;
  std::optional<std::uint64_t> inHand_;  // bytes of the item that is being carried
  std::string inHandResult_;             // what it becomes
  bool counting_ = false;
};

}  // namespace HOQ::cli
