#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "engine/FileOperate.h"

namespace HOQ::test {

/// An operation that writes its callbacks down and answers as it is told. A callback that is told
/// nothing answers as the base does, except that operate() enters every directory.
class ScriptedOperate : public FileOperate {
 public:
  using FileOperate::FileOperate;

  int operate(const char* name) override {
    const int kept = errno;
    log.push_back("operate " + std::string(name) + " at " + path.routine->path);
    visited.push_back(path.routine->path);
    errno = kept;
    return onOperate ? onOperate(name) : kDescend;
  }

  int beforeDir(int& depth) override {
    log.push_back("beforeDir " + std::to_string(depth));
    return onBeforeDir ? onBeforeDir(depth) : 0;
  }

  int afterDir(int depth, int result) override {
    log.push_back("afterDir " + std::to_string(depth) + " " + std::to_string(result));
    return onAfterDir ? onAfterDir(depth, result) : result;
  }

  int filtrate(const char* name) override {
    if (onFiltrate) return onFiltrate(name);
    return FileOperate::filtrate(name);
  }

  std::function<int(const std::string&)> onOperate;
  std::function<int(int&)> onBeforeDir;
  std::function<int(int, int)> onAfterDir;
  std::function<int(const std::string&)> onFiltrate;

  std::vector<std::string> log;      // "operate NAME at PATH", "beforeDir D", "afterDir D RESULT"
  std::vector<std::string> visited;  // the paths that operate() stood at
};

}  // namespace HOQ::test
