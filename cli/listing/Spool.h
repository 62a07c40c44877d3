#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "listing/TemporaryFile.h"

namespace HOQ::cli {

/// Pairs of texts that are appended, and read again anywhere. But for the last ones, they are in a
/// temporary file; where there can be none, all of them stay in memory. One thread.
class Spool {
 public:
  static constexpr std::size_t kMemoryBytes = 1024 * 1024;

  explicit Spool(std::size_t memoryBytes = kMemoryBytes) : memoryBytes_(memoryBytes) {}

  /// Appends a pair of texts, as Frames reads them.
  void append(std::string_view key, std::string_view value);
  std::uint64_t size() const { return written_ + last_.size(); }

  /// Appends to `out` up to `length` bytes (above 0) from `offset` on, which is before the end, at
  /// least one. Throws CommandError where the file cannot be read.
  void read(std::uint64_t offset, std::size_t length, std::string& out) const;

 private:
  std::size_t memoryBytes_;
  TemporaryFile file_;
  std::uint64_t written_ = 0;  // bytes in the file
  std::string last_;           // those behind them
};

}  // namespace HOQ::cli
