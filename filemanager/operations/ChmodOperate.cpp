#include "operations/ChmodOperate.h"

#include "filer/HOQFilerLocal.h"

namespace HOQ {

ChmodOperate::ChmodOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions,
                           int permissionBits)
    : FileOperate(routine, requestOptions, true), mode(permissionBits) {
  routine.kindSuffices = true;
}

int ChmodOperate::operate(const char* name) {
  const int changed = path.routine->chmod(mode);
  if (changed != 0) return setItemLastError(changed, "Cannot change mode");
  return FileOperate::operate(name);
}

int HOQFilerLocal::chmod(const Paths& paths, int mode, const HOQFilerOptions& options) {
  return change<ChmodOperate>(paths, options, mode);
}

}  // namespace HOQ
