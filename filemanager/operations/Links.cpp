// The Filer's link and readlink: single paths, without a walk.
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQResultCodes.h>

#include "engine/FileError.h"
#include "filer/HOQFilerLocal.h"

namespace HOQ {
namespace {

/// Reports the routine's last error in the client's own words for the path. Returns `code`.
int report(FileError& error, int code, const std::string& clientPath, HOQFileRoutine& routine) {
  HOQRequestErrorData cause(0, "");
  routine.getLastError(cause);
  error.setError(kFailed, "\"%s\", %s", clientPath.c_str(), cause.message.c_str());
  return code;
}

}  // namespace

int HOQFilerLocal::link(const std::string& target, const std::string& name,
                        const HOQFilerOptions& options) {
  if (refused(HOQAccessChecker::kChange)) return kAccessRefused;
  const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
  if (!routine) return kNoRoutine;
  FileError error(options);
  error.handler = getContext()->getHandler();
  std::string fullTarget;
  if (error.setCwd(cwd) != 0 || error.getFullPath(name, routine->path) != 0 ||
      error.getFullPath(target, fullTarget) != 0)
    return kNoRoutine;
  const int made = routine->link(fullTarget.c_str(), options.has(HOQFilerOptions::kSymbolicLink));
  return made == 0 ? 0 : report(error, made, target, *routine);
}

int HOQFilerLocal::readlink(const std::string& path, std::string& target) {
  if (refused(HOQAccessChecker::kRead)) return kAccessRefused;
  const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
  if (!routine) return kNoRoutine;
  const HOQFilerOptions plain(0);
  FileError error(plain);
  error.handler = getContext()->getHandler();
  if (error.setCwd(cwd) != 0 || error.getFullPath(path, routine->path) != 0) return kNoRoutine;
  const int read = routine->readlinkS(target);
  return read == 0 ? 0 : report(error, read, path, *routine);
}

}  // namespace HOQ
