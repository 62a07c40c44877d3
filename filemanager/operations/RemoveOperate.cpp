#include "operations/RemoveOperate.h"

#include "filer/HOQFilerLocal.h"

namespace HOQ {

RemoveOperate::RemoveOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions)
    : FileOperate(routine, requestOptions, true) {
  routine.kindSuffices = true;
}

int RemoveOperate::operate(const char* name) {
  HOQFileRoutine& routine = *path.routine;
  const bool isTree = routine.isDir() && !routine.isLink();
  if (isTree && error.options.has(HOQFilerOptions::kRecursive)) return kDescend;

  const int result = routine.isDir() ? routine.rmdir() : routine.rmitem();
  if (result == 0) return FileOperate::operate(name);
  const bool wasDir = routine.isDir();
  const int unexamined = path.examineWhole();
  if (unexamined != 0) return unexamined;
  if (!wasDir && routine.isDir()) return operate(name);  // since its name was read
  return setPathLastError(result, "Cannot remove item");
}

int RemoveOperate::afterDir(int, int result) {
  if (result != 0) return result;
  if (error.options.has(HOQFilerOptions::kWildcards)) return 0;
  const int removed = path.routine->rmdir();
  if (removed != 0) return setPathLastError(removed, "Cannot remove directory");
  return 0;
}

int HOQFilerLocal::remove(const Paths& paths, const HOQFilerOptions& options) {
  return change<RemoveOperate>(paths, options);
}

}  // namespace HOQ
