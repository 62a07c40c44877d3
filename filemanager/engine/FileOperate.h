#pragma once

#include <string>

#include <hoq/HOQFilerOptions.h>

#include "engine/FileError.h"
#include "engine/FilePath.h"
#include "routine/HOQFileRoutine.h"

namespace HOQ {

/// What a request does to each item that its paths lead to. An operation is a subclass; one object
/// lives on the stack of one Filer call and is used by its thread.
///
/// For each item: the routine is pointed at it and examines it, operate(); for a directory whose
/// operate() returned 0: opendir, beforeDir(), for each entry filtrate() and, where that is 0, the
/// entry as an item; last afterDir() and closedir.
class FileOperate {
 public:
  // What operate() says of an item; anything else is an error code and stops the walk.
  static constexpr int kDescend = 0;  // done; enter it if it is a directory
  static constexpr int kDone = 1;     // done; do not enter

  /// `routine` and `requestOptions` are not owned and must outlive this object. The routine's
  /// followLinks is set from the options, its kindSuffices to false. `reportStat`: every item must
  /// be there.
  FileOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions, bool reportStat);
  FileOperate(const FileOperate&) = delete;
  FileOperate& operator=(const FileOperate&) = delete;
  virtual ~FileOperate();

  /// Works on the item that the routine stands at. `name` is what was appended to reach it. Here:
  /// descends with the recursive bit.
  virtual int operate(const char* name);
  /// Before a directory's entries are read. `depth`, 0 at first, comes back in afterDir(). Other
  /// than 0: the entries are skipped.
  virtual int beforeDir(int& depth);
  /// After the entries, with the result so far; returns the directory's result.
  virtual int afterDir(int depth, int result);
  /// Other than 0: the entry is skipped. Here: "." and "..".
  virtual int filtrate(const char* name);

  /// Walks one request path. The routine stands at the working directory before and after.
  /// 0, or the code that stopped the walk, which has been reported.
  int addPath(const std::string& path);

  /// Reports `message` of the item that the routine stands at. Returns `code`.
  int setPathError(int code, const char* message);
  /// The same with the last system error, of `routine` or, when null, of the operation's own.
  /// errno must still be the failed call's.
  int setPathLastError(int code, const char* message, HOQFileRoutine* routine = nullptr);
  /// The same of an item that operate() could do nothing to; where it cannot even be examined, that
  /// is reported instead: FilePath::examineWhole().
  int setItemLastError(int code, const char* message);

  FileError error;
  FilePath path;

 private:
  int walkItem(const std::string& requestPath);
  int walkPattern(const std::string& pattern);
};

}  // namespace HOQ
