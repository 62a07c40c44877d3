#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "listing/TemporaryFile.h"

namespace HOQ::cli {

/// Values that are given back in the order of their keys' bytes, equal keys as they came. What is
/// more than a few megabytes goes, sorted, to a temporary file without a name; where there can be
/// none, all of it stays in memory. One thread.
class SortedStore {
 public:
  static constexpr std::size_t kMemoryBytes = 4 * 1024 * 1024;

  explicit SortedStore(std::size_t memoryBytes = kMemoryBytes) : memoryBytes_(memoryBytes) {}
  SortedStore(const SortedStore&) = delete;
  SortedStore& operator=(const SortedStore&) = delete;

  void add(std::string_view key, std::string_view value);

  /// Forgets everything.
  void clear();

  /// Gives everything to `take`, and forgets it. Throws CommandError where the file cannot be read.
  using Take = std::function<void(std::string_view key, std::string_view value)>;
  void drain(const Take& take);

  bool empty() const { return slots_.empty() && parts_.empty(); }

  /// How many parts are in the file.
  std::size_t parts() const { return parts_.size(); }

 private:
  class MemorySource;
  struct Slot {
    std::uint64_t order;  // the key's first bytes: settles most comparisons
    std::uint64_t offset;
  };
  /// A sorted part of the file.
  struct Part {
    std::uint64_t begin;
    std::uint64_t end;
  };

  void sort();
  void setAside();

  std::size_t memoryBytes_;
  std::string text_;  // frames of a key and a value
  std::vector<Slot> slots_;
  TemporaryFile file_;
  std::uint64_t fileEnd_ = 0;
  std::vector<Part> parts_;
};

}  // namespace HOQ::cli
