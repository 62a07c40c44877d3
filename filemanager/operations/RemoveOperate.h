#pragma once

#include "engine/FileOperate.h"

namespace HOQ {

/// Removes items; with the recursive bit a directory's entries first.
class RemoveOperate : public FileOperate {
 public:
  RemoveOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions);

  int operate(const char* name) override;
  /// Removes the emptied directory, except under the wildcard bit: the directory that a pattern
  /// was matched in comes here too and must survive. So a tree removed by a pattern leaves its
  /// directories standing, empty: kept, callers rely on it.
  int afterDir(int depth, int result) override;
};

}  // namespace HOQ
