#include "engine/operatePaths.h"

#include <algorithm>

#include <hoq/HOQResultCodes.h>

#include "engine/FileOperateFunctor.h"

namespace HOQ {

int operatePaths(FileOperate& op, const std::vector<std::string>& paths, const std::string& cwd) {
  (void)op.error.setCwd(cwd);  // reported; paths that do not need it still work
  const FileOperateFunctor failed;
  const bool stopped = std::any_of(paths.begin(), paths.end(),
                                   [&](const std::string& path) { return failed(&op, path); });
  return stopped ? kPathFailed : 0;
}

}  // namespace HOQ
