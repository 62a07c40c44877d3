#pragma once

#include <string>

#include "engine/FileOperate.h"

namespace HOQ {

/// Whether a path failed.
struct FileOperateFunctor {
  bool operator()(FileOperate* op, const std::string& path) const { return op->addPath(path) != 0; }
};

}  // namespace HOQ
