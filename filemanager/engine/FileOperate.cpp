#include "engine/FileOperate.h"

#include <hoq/canonizePath.h>
#include <hoq/intToStr.h>

#include "engine/PathHelpers.h"

namespace HOQ {
namespace {

bool leadsOut(const std::string& canonical) {
  return canonical == ".." || canonical.compare(0, 3, "../") == 0;
}

}  // namespace

FileOperate::FileOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions,
                         bool reportStat)
    : error(requestOptions) {
  path.routine = &routine;
  path.owner = this;
  path.reportStat = reportStat;
  routine.followLinks = requestOptions.has(HOQFilerOptions::kFollowLinks);
  routine.kindSuffices = false;
}

FileOperate::~FileOperate() = default;

int FileOperate::operate(const char*) {
  return error.options.has(HOQFilerOptions::kRecursive) ? kDescend : kDone;
}

int FileOperate::beforeDir(int&) { return 0; }

int FileOperate::afterDir(int, int result) { return result; }

int FileOperate::filtrate(const char* name) { return path.isDots(name); }

int FileOperate::addPath(const std::string& requestPath) {
  error.lastError = 0;
  HOQFileRoutine& routine = *path.routine;
  const std::string workingDirectory = routine.path;

  const int result = error.options.has(HOQFilerOptions::kWildcards) ? walkPattern(requestPath)
                                                                    : walkItem(requestPath);
  if (result != 0 && error.lastError == 0) {
    HOQRequestErrorData cause(0, "");
    if (routine.getLastError(cause) != 0)
      error.setError(result, "\"%s\", Cannot process: %s [%d]", requestPath.c_str(),
                     cause.message.c_str(), cause.code);
    else
      error.setError(result, "Cannot process \"%s\": unknown error", requestPath.c_str());
  }
  routine.path = workingDirectory;
  return result;
}

int FileOperate::walkPattern(const std::string& pattern) {
  if (isFullpath(pattern)) path.routine->path.clear();
  return path.addWildItem("", pattern.c_str());
}

int FileOperate::walkItem(const std::string& requestPath) {
  std::string item = requestPath;
  if (canonizePath(item, '/') != 0)
    error.setError(-1, "Wrong path \"%s\"", requestPath.c_str());  // and walked as given
  if (isFullpath(item)) {
    path.routine->path.clear();
  } else if (leadsOut(item)) {
    std::string resolved = path.routine->path;
    if (!resolved.empty()) resolved += '/';
    resolved += item;
    if (canonizePath(resolved, '/') != 0) {
      error.setError(-1, "Wrong path \"%s\"", requestPath.c_str());
    } else {
      item = std::move(resolved);
      if (item == "..") item = "../.";  // the bare name would not be examined
      path.routine->path.clear();
    }
  }
  return path.addItem(item.c_str());
}

int FileOperate::setPathError(int code, const char* message) {
  return error.setError(code, "\"%s\", %s", path.routine->path.c_str(), message);
}

int FileOperate::setPathLastError(int code, const char* message, HOQFileRoutine* routine) {
  HOQRequestErrorData cause(0, "");
  const bool known = (routine ? routine : path.routine)->getLastError(cause) != 0;
  std::string text = message;
  if (known) {
    text += ": ";
    text += cause.message;
    text += '[';
    text += intToStr(cause.code);
    text += ']';
  }
  return setPathError(code, text.c_str());
}

int FileOperate::setItemLastError(int code, const char* message) {
  const int unexamined = path.examineWhole();
  return unexamined != 0 ? unexamined : setPathLastError(code, message);
}

}  // namespace HOQ
