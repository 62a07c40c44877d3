#pragma once

#include <cstddef>
#include <functional>

#include "Node.h"

namespace HOQ::cli {

/// Calls `job` for each index below `count`, from several threads at once, which may use `node`'s
/// Filers, and waits for all. In no order. `job` must not throw. Few jobs stay on this thread.
void inParallel(Node& node, std::size_t count, const std::function<void(std::size_t)>& job);

}  // namespace HOQ::cli
