#include "engine/FileError.h"

#include <cstdarg>
#include <cstdio>

#include <hoq/HOQErrorMessage.h>
#include <hoq/canonizePath.h>

#include "engine/PathHelpers.h"

namespace HOQ {

int FileError::setCwd(const std::string& directory) {
  cwd = directory;
  cwd += '/';
  if (canonizePath(cwd, '/') != 0) {
    cwd.clear();
    return setError(-1, "Invalid working directory \"%s\"", directory.c_str());
  }
  setLastDiv(cwd);
  return 0;
}

int FileError::getFullPath(const std::string& path, std::string& full) {
  full.clear();
  if (path.empty()) return 0;
  if (!isFullpath(path)) full = cwd;
  full += path;
  if (!options.has(HOQFilerOptions::kWildcards) && canonizePath(full, '/') != 0)
    return setError(-1, "Wrong path \"%s\"", path.c_str());
  return 0;
}

int FileError::setError(int code, const char* format, ...) {
  char message[1024];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);

  lastError = code;
  if (handler)
    handler->error(HOQRequestErrorData(code, message));
  else
    setErrorMessage(message);  // as a format, without arguments: see the header
  return code;
}

}  // namespace HOQ
