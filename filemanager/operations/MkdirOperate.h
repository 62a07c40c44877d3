#pragma once

#include "engine/FileOperate.h"

namespace HOQ {

/// Makes directories; with the recursive bit the missing ones above them first. Only those above
/// may be there already.
class MkdirOperate : public FileOperate {
 public:
  MkdirOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions);

  int operate(const char* name) override;

 private:
  int makeParents();
  int makeParent();
};

}  // namespace HOQ
