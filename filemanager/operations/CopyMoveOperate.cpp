#include "operations/CopyMoveOperate.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <hoq/HOQResultCodes.h>

#include "engine/PathHelpers.h"
#include "engine/operatePaths.h"
#include "filer/HOQFilerLocal.h"

namespace HOQ {
namespace {

/// A place to refuse renaming what a system cannot do without. It accepts every path.
bool checkNotSystemPaths(const std::string&) { return true; }

/// Puts a routine back to where it stood and what it knew.
class RoutineState {
 public:
  explicit RoutineState(HOQFileRoutine& routine)
      : routine_(routine),
        path_(routine.path),
        statBuffer_(routine.statBuffer),
        followLinks_(routine.followLinks) {}
  ~RoutineState() {
    routine_.path = std::move(path_);
    routine_.statBuffer = statBuffer_;
    routine_.followLinks = followLinks_;
  }
  RoutineState(const RoutineState&) = delete;
  RoutineState& operator=(const RoutineState&) = delete;

 private:
  HOQFileRoutine& routine_;
  std::string path_;
  struct stat statBuffer_;
  bool followLinks_;
};

}  // namespace

CopyMoveOperate::CopyMoveOperate(HOQFileRoutine& source, HOQFileRoutine& targetRoutine,
                                 const HOQFilerOptions& requestOptions)
    : FileOperate(source, requestOptions, true),
      target(targetRoutine),
      targetIsDir(targetRoutine.stat() == 0),
      linuxTarget(dynamic_cast<HOQFileRoutineLin*>(&targetRoutine)),
      carrier(ContentsCarrier::make(HOQContentsEngine::chosen())) {
  if (linuxTarget) linuxTarget->expectOwners();
}

CopyMoveOperate::~CopyMoveOperate() = default;

int CopyMoveOperate::operate(const char* name) {
  HOQFileRoutine& source = *path.routine;
  if (targetLength == -1)
    targetLength = static_cast<int>(target.path.size());
  else
    target.path.resize(static_cast<std::size_t>(targetLength));
  if (depth > 0) stayInTarget();

  const bool exists = findPlace(name);
  const int refused = refuseCopyIntoItself(exists);
  if (refused != 0) return refused;
  if (moveItems && source.isDir()) {
    const int renamed = renameDirectory();
    if (renamed != kLeftToCopy) return renamed;
  }

  if (error.handler) error.handler->progress(HOQRequestProgressData(source.path));
  if (exists) {
    if (!has(HOQFilerOptions::kOverwrite)) return meetExisting();
    if (!target.isDir()) {
      const int removed = target.rmitem();
      if (removed != 0) return setPathLastError(removed, "Cannot remove directory");
    }
  }
  return carryItem(exists);
}

/// The entries of a directory go to one directory: the system need not look its path up for each.
void CopyMoveOperate::stayInTarget() {
  if (linuxTarget && !linuxTarget->holds()) linuxTarget->hold();
}

void CopyMoveOperate::leaveTarget() {
  if (linuxTarget) linuxTarget->letGo();
}

/// Points the target at the place of the item in hand. Whether something is there: the target's
/// stat buffer describes it; where nothing is, the buffer keeps what it had, which is the
/// directory of the place where that was examined.
bool CopyMoveOperate::findPlace(const char* name) {
  // Below a directory every item goes behind the place, which matters to a move alone then.
  if (depth == 0 || moveItems) {
    const bool isThere = examinePlace();
    targetIsDir = isThere && target.isDir();
    if (!targetIsDir && depth == 0) return isThere;
  }
  // A pattern's last component may have been walked as the current path itself, without a name.
  const bool nameless = *name == '\0' && has(HOQFilerOptions::kWildcards);
  const char* item = nameless ? path.routine->path.c_str() : name;
  HOQFileRoutine::makePath(target.path, baseName(item));
  return examinePlace();
}

bool CopyMoveOperate::examinePlace() {
  placeError = target.stat() == 0 ? 0 : errno;
  return placeError == 0;
}

/// Nothing is copied onto itself or into itself: overwriting would remove the source first, and a
/// walk into its own copy would not end.
int CopyMoveOperate::refuseCopyIntoItself(bool exists) {
  const HOQFileRoutine& source = *path.routine;
  const FileId item(source.statBuffer.st_dev, source.statBuffer.st_ino);
  const FileId there(target.statBuffer.st_dev, target.statBuffer.st_ino);
  if (exists && item == there && (source.isDir() || has(HOQFilerOptions::kOverwrite)))
    return error.setError(kFailed, "\"%s\" and \"%s\" are the same item", source.path.c_str(),
                          target.path.c_str());
  if (source.isDir() && leadsToTarget(item))
    return error.setError(kFailed, "Cannot %s \"%s\" into itself", moveItems ? "move" : "copy",
                          source.path.c_str());
  return 0;
}

bool CopyMoveOperate::leadsToTarget(const FileId& directory) {
  if (enteredTargets.empty()) findTargetChain();
  const auto among = [&](const std::vector<FileId>& chain) {
    return std::find(chain.begin(), chain.end(), directory) != chain.end();
  };
  return among(targetChain) || among(enteredTargets);
}

/// Notes the directory that holds the item's place and all that are above it, as the system
/// resolves "..", and, where that makes too long a path, by the text.
void CopyMoveOperate::findTargetChain() {
  std::string holder = target.path.substr(0, target.path.rfind('/'));
  if (holder.empty()) holder = "/";
  if (holder == targetChainOf) return;
  targetChainOf = holder;
  targetChain.clear();

  const RoutineState before(target);
  target.followLinks = true;
  for (target.path = holder; target.stat() == 0; target.path += "/..") {
    const FileId directory(target.statBuffer.st_dev, target.statBuffer.st_ino);
    if (!targetChain.empty() && targetChain.back() == directory) return;  // the root
    targetChain.push_back(directory);
  }
  for (std::size_t end = holder.size(); end != 0 && end != std::string::npos;
       end = holder.rfind('/', end - 1)) {
    target.path.assign(holder, 0, end);
    if (target.stat() == 0)
      targetChain.emplace_back(target.statBuffer.st_dev, target.statBuffer.st_ino);
  }
}

int CopyMoveOperate::renameDirectory() {
  const std::string& source = path.routine->path;
  if (!checkNotSystemPaths(source))
    return setPathError(EACCES, "you are trying to rename system folder: access is denied.");
  // Below a directory that is only scanned for matches, the target may be the new name itself.
  const std::string newName =
      targetIsDir ? target.path : target.path.substr(0, static_cast<std::size_t>(targetLength));
  // A directory replaces nothing but an empty one. A link to one would replace a file as well.
  const unsigned flags = sourceIsLink() ? RENAME_NOREPLACE : 0;
  const int renamed = ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, newName.c_str(), flags);
  if (renamed == 0) return kDone;
  const int cause = errno;
  if (cause == EXDEV) return kLeftToCopy;
  return setPathError(renamed, std::strerror(cause));
}

/// Without the overwrite bit a directory is merged into a directory; nothing else may be there.
int CopyMoveOperate::meetExisting() {
  if (path.routine->isDir() && target.isDir()) return kDescend;
  return error.setError(kTargetExists, "Can't overwrite \"%s\" with \"%s\" file exists",
                        target.path.c_str(), path.routine->path.c_str());
}

int CopyMoveOperate::carryItem(bool exists) {
  HOQFileRoutine& source = *path.routine;
  if (source.isDir() && !has(HOQFilerOptions::kRecursive)) {
    const int made = makeDirectory(exists);
    return made == 0 ? kDone : made;
  }
  const int handled = removesSource() ? source.move(target) : source.copy(target);
  if (handled < 0) return setPathLastError(handled, "Cannot copy/move item");
  if (handled == 0) return kDone;
  if (source.isDir()) return makeDirectory(exists);
  if (source.isReg()) return copyRegular();
  if (source.isLink()) return copyLink();
  return kDone;
}

/// Kept: what was there and was no directory has been removed by now, and none is made for it.
int CopyMoveOperate::makeDirectory(bool exists) {
  if (exists) return 0;
  HOQFileRoutine& source = *path.routine;
  target.statBuffer.st_mode = 0;  // chown would put back set-id bits of what it described
  errno = 0;                      // the routine reads it after a success as well
  const int made = target.mkdir(&source);
  if (made == 0) return 0;
  const int cause = errno;
  // Made, although mode and owner could not be given to it: that is a copy all the same.
  if (made != kTargetExists && target.stat() == 0 && target.isDir()) return 0;
  errno = cause;
  return setPathLastError(made, "Cannot create directory", &target);
}

int CopyMoveOperate::copyRegular() {
  HOQFileRoutine& source = *path.routine;
  errno = 0;  // for both: the routine reads it after a success as well
  const int opened = source.open(O_RDONLY);
  if (opened < 0) return setPathLastError(opened, "Cannot open file to read");
  const int code = copyOpened();
  (void)source.close();                                     // it was only read
  if (code == 0 && removesSource()) (void)source.remove();  // kept: what stays is no failure
  return code;
}

int CopyMoveOperate::copyOpened() {
  HOQFileRoutine& source = *path.routine;
  const int exclusive = has(HOQFilerOptions::kOverwrite) ? 0 : O_EXCL;
  if (exclusive == 0 && placeError != 0 && placeError != ENOENT) {
    // Something may stand there that was not removed, and would be written over in part.
    errno = placeError;
    return setPathLastError(kFailed, "Cannot create file to write", &target);
  }
  errno = 0;
  const int opened = target.open(O_WRONLY | O_CREAT | exclusive);
  if (opened < 0) return setPathLastError(opened, "Cannot create file to write", &target);
  const bool wasThere = opened == 1;

  int code = carrier->carry(*this, source, target);
  if (target.close() != 0 && code == 0)
    code = setPathLastError(-1, "Cannot write to file", &target);
  if (code == 0 && !wasThere) {
    target.statBuffer.st_mode = 0;    // as for a new directory
    (void)target.cpOptions(&source);  // the contents are there: a copy, whatever its owner
  }
  return code;
}

int CopyMoveOperate::copyLink() {
  HOQFileRoutine& source = *path.routine;
  std::string text;
  const int read = source.readlinkS(text);
  if (read != 0) return setPathLastError(read, "Cannot read link");
  const int made = target.link(text.c_str(), true);
  if (made != 0) return setPathLastError(made, "Cannot create symbolic link", &target);
  if (removesSource()) (void)source.rmlink();
  return 0;
}

/// Whether the path in hand is a link, also where stat() follows links. One that cannot be told
/// counts as a link, so that a move leaves alone what it may lead to.
bool CopyMoveOperate::sourceIsLink() {
  HOQFileRoutine& source = *path.routine;
  if (!source.followLinks) return source.isLink();
  const struct stat before = source.statBuffer;
  source.followLinks = false;
  const bool isLink = source.stat() != 0 || source.isLink();
  source.followLinks = true;
  source.statBuffer = before;
  return isLink;
}

int CopyMoveOperate::beforeDir(int& savedLength) {
  leaveTarget();
  if (path.scanning) {  // its matches go where the pattern as a whole goes
    ++depth;
    return 0;
  }
  if (linkDepth == -1 && sourceIsLink()) linkDepth = depth;
  ++depth;
  savedLength = targetLength;
  targetLength = -1;
  noteEnteredTarget();
  return 0;
}

void CopyMoveOperate::noteEnteredTarget() {
  const RoutineState before(target);
  target.followLinks = true;
  const bool made = target.stat() == 0 && target.isDir();
  enteredTargets.push_back(made ? FileId(target.statBuffer.st_dev, target.statBuffer.st_ino)
                                : kNotMade);
}

int CopyMoveOperate::afterDir(int savedLength, int result) {
  leaveTarget();
  --depth;
  if (path.scanning) return result;
  const bool copied = enteredTargets.back() != kNotMade;
  enteredTargets.pop_back();
  if (savedLength >= 0) {
    target.path.resize(static_cast<std::size_t>(savedLength));
    targetLength = -1;
  }
  int code = result;
  if (result == 0 && moveItems) {
    if (linkDepth == depth)
      code = path.routine->rmlink();
    else if (linkDepth == -1 && copied)
      (void)path.routine->rmdir();  // kept: one that could not be emptied stays, without an error
  }
  if (linkDepth == depth) linkDepth = -1;
  return code;
}

int HOQFilerLocal::copyOrMove(const Paths& paths, const std::string& destination,
                              const HOQFilerOptions& options, bool moveItems) {
  if (refused(HOQAccessChecker::kChange)) return kAccessRefused;
  const boost::shared_ptr<HOQFileRoutine> source = createRoutine(cwd);
  const boost::shared_ptr<HOQFileRoutine> target = createRoutine(destination);
  if (!source || !target) return kNoRoutine;
  CopyMoveOperate operation(*source, *target, options);
  operation.error.handler = getContext()->getHandler();
  operation.moveItems = moveItems;
  if (operation.error.setCwd(cwd) != 0) return kNoRoutine;
  if (operation.error.getFullPath(destination, target->path) != 0) return kNoRoutine;
  if (paths.size() > 1 && !(target->stat() == 0 && target->isDir()))
    return operation.error.setError(kFailed, "Target '%s' is not directory", target->path.c_str());
  return operatePaths(operation, paths, cwd);
}

int HOQFilerLocal::copy(const Paths& paths, const std::string& destination,
                        const HOQFilerOptions& options) {
  return copyOrMove(paths, destination, options, false);
}

int HOQFilerLocal::move(const Paths& paths, const std::string& destination,
                        const HOQFilerOptions& options) {
  return copyOrMove(paths, destination, options, true);
}

}  // namespace HOQ
