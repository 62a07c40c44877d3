#include "operations/MkdirOperate.h"

#include <cerrno>

#include "filer/HOQFilerLocal.h"

namespace HOQ {

MkdirOperate::MkdirOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions)
    : FileOperate(routine, requestOptions, false) {}

int MkdirOperate::operate(const char*) {
  if (error.options.has(HOQFilerOptions::kRecursive)) {
    const int parents = makeParents();
    if (parents != 0) return parents;
  }
  errno = 0;  // the routine reads it after a success as well
  const int result = path.routine->mkdir(path.routine);
  if (result != 0) return setPathLastError(result, "Cannot create directory");
  return kDone;
}

int MkdirOperate::makeParents() {
  std::string& current = path.routine->path;
  const std::string full = current;
  int result = 0;
  // The first slash is the root's, or ends a first component that must be there.
  std::size_t slash = full.find('/');
  if (slash != std::string::npos) slash = full.find('/', slash + 1);
  for (; slash != std::string::npos && result == 0; slash = full.find('/', slash + 1)) {
    current.resize(slash);
    result = makeParent();
    current = full;
  }
  return result;
}

int MkdirOperate::makeParent() {
  HOQFileRoutine& routine = *path.routine;
  if (routine.stat() == 0) return routine.isDir() ? 0 : setPathError(-1, "is not a directory");
  errno = 0;
  const int result = routine.mkdir(nullptr);
  return result == 0 ? 0 : setPathLastError(result, "Cannot create directory");
}

int HOQFilerLocal::mkdir(const Paths& paths, const HOQSecurityAttributes*,
                         const HOQFilerOptions& options) {
  return change<MkdirOperate>(paths, options);
}

}  // namespace HOQ
