#pragma once

#include <string>
#include <vector>

#include "engine/FileOperate.h"

namespace HOQ {

/// Runs `op` over the paths in order, up to the first that fails. 0, or 2056; the failure itself
/// has been reported. A bad `cwd` is reported and the walk goes on.
int operatePaths(FileOperate& op, const std::vector<std::string>& paths, const std::string& cwd);

}  // namespace HOQ
