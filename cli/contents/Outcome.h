#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "ExitStatus.h"

namespace HOQ::cli {

/// Tells failures of single items, and remembers that there were any. Any thread.
class Outcome {
 public:
  using Tell = std::function<void(const std::string& line)>;

  /// `tell` may be called by any thread.
  explicit Outcome(Tell tell) : tell_(std::move(tell)) {}

  void failed(const std::string& line) {
    failed_ = true;
    tell_(line);
  }
  /// Something failed that has been told already.
  void note() { failed_ = true; }
  ExitStatus status() const { return failed_ ? kExitFailed : kExitDone; }

 private:
  const Tell tell_;
  std::atomic<bool> failed_{false};
};

}  // namespace HOQ::cli
