#pragma once

#include <cstddef>

namespace HOQ {

/// Limits of one command that is run. A fresh one has those that serve most.
struct ExecutionArgs {
  int timeoutMs = 10'000;             // from start to end; a command that lasts longer is killed
  std::size_t lineBytes = 64 * 1024;  // the longest line that is kept; the rest of it is dropped
};

}  // namespace HOQ
