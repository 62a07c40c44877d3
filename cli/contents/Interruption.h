#pragma once

#include <atomic>

namespace HOQ::cli {

/// What a run that was asked to end is left by, to tidy up behind itself.
struct Interrupted {};

/// While this lives, SIGINT, SIGTERM and SIGHUP are noted instead of ending the program, the first
/// time that one comes, unless the caller had them ignored. One at a time.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  /// Throws Interrupted once a signal has come. Any thread.
  void check() const;

  /// Waits until `descriptor` can be read. Throws Interrupted when a signal comes first. Any
  /// thread.
  void waitReadable(int descriptor) const;

  /// No check() throws any more: what is left is to tidy up.
  void acknowledge();

  /// Dies of the signal that came, as if nobody had looked at it.
  [[noreturn]] static void die();

 private:
  std::atomic<bool> acknowledged_{false};
};

}  // namespace HOQ::cli
