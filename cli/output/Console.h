#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace HOQ::cli {

/// Whether something is shown.
enum class When { kAuto, kAlways, kNever };

/// Standard error: error lines, and a line that shows that work which lasts is alive. Error lines
/// may come from any thread; everything else from the one that made the object.
class Console {
 public:
  /// `descriptor` is not owned.
  Console(int descriptor, When progress);
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console();

  /// Writes "hoq: TEXT" and a line break, escaped on a terminal. A failure is dropped: there is
  /// nowhere left to tell it.
  void error(std::string_view text);
  /// The same without "hoq: ".
  void line(std::string_view text);

  /// From here to stopProgress(), where it is wanted: after a second, or at once with kAlways, a
  /// line with what `items` counts, kept up to date by a thread of its own. On a terminal it is
  /// wiped at the end and when a signal ends the program; elsewhere its last state stays (states
  /// follow each other behind carriage returns).
  void startProgress(const std::atomic<std::uint64_t>& items);
  /// What the line says from here on; empty: what it says by itself. `text` is asked by the thread
  /// that keeps the line, never after a further call has returned.
  void describeProgress(std::function<std::string()> text);
  /// Whether startProgress() has anything to show.
  bool showsProgress() const {
    return progress_ == When::kAlways || (progress_ == When::kAuto && terminal_);
  }
  void stopProgress();

 private:
  using Clock = std::chrono::steady_clock;

  void write(std::string_view prefix, std::string_view text);
  void show(Clock::time_point started);
  void wipe();
  void run(Clock::time_point started);

  const int descriptor_;
  const bool terminal_;
  const When progress_;

  std::mutex mutex_;  // guards the stream and everything below
  std::condition_variable changed_;
  const std::atomic<std::uint64_t>* items_ = nullptr;  // not owned; set while progress is on
  std::function<std::string()> text_;                  // of the line; empty: its own
  bool shown_ = false;                                 // a line stands there, not ended
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace HOQ::cli
