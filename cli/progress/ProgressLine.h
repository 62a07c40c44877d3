#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace HOQ::cli {

/// An amount of work.
struct Amount {
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;  // contents of regular files
};

/// Where work stands.
struct Standing {
  Amount done;
  std::optional<Amount> total;  // counted beforehand
  std::chrono::milliseconds elapsed{0};

  /// The total, unless the work has turned out to be more than was counted.
  std::optional<Amount> knownTotal() const;
  /// How much of the total is done, 0 to 100; 0 where it is not known.
  std::uint32_t percent() const;
  /// How long the rest will take at the pace so far; empty where nobody can tell.
  std::optional<std::chrono::seconds> left() const;
};

/// For instance "12 of 100 items, 3.4 MiB of 20 MiB, 1.1 MiB/s, 15 s left"; where no total is
/// known, "12 items, 3.4 MiB, 1.1 MiB/s, 3 s".
std::string progressLine(const Standing& standing);

/// "12 items, 3.4 MiB, 1.1 MiB/s": what was done.
std::string summaryText(const Standing& standing);

}  // namespace HOQ::cli
