#pragma once

#include "engine/FileOperate.h"

namespace HOQ {

/// Sets the permission bits of items; a directory's before its entries are read. Links pass the
/// change on to what they lead to.
class ChmodOperate : public FileOperate {
 public:
  ChmodOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions, int permissionBits);

  int operate(const char* name) override;

  int mode;  // as chmod(2) takes it
};

}  // namespace HOQ
