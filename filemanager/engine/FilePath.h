#pragma once

#include <string>

#include "routine/HOQFileRoutine.h"

namespace HOQ {

class FileOperate;

/// Turns one request path into items and walks them and the trees below them, calling the owner
/// back for each. While it does, the routine's current path names the item in hand. Entries come
/// in the file system's order; there is no limit of depth. One thread.
class FilePath {
 public:
  /// Walks one item and, where the owner says so, everything under it. `name` (not null) is
  /// appended to the routine's current path for the time of the call; empty: that path itself.
  /// 0, or the code that stopped the walk.
  int addItem(const char* name);

  /// Expands `pattern`, component by component, below `prefix` and walks each match. Null or empty
  /// `pattern`: walks `prefix`. A directory part that is missing or no directory matches nothing.
  int addWildItem(const char* prefix, const char* pattern);

  /// To be called where something cannot be done to the item in hand: one that only the kind was
  /// asked of is examined now, since what cannot be examined is told as that. 0, with errno as it
  /// was, or the code of that failure, which has been reported.
  int examineWhole();

  /// 1 for ".", 2 for "..", else 0.
  int isDots(const char* name) const;
  int isDots(const std::string& name) const { return isDots(name.c_str()); }

  /// Appends a component to the routine's current path; returns the length before.
  int addName(const char* name);
  int addName(const std::string& name) { return addName(name.c_str()); }

  /// Cuts the routine's current path back to `length`, where it is longer.
  void retName(int length);

  HOQFileRoutine* routine = nullptr;  // not owned
  FileOperate* owner = nullptr;       // not owned
  bool reportStat = true;             // an item that cannot be examined is an error
  bool scanning = false;  // in beforeDir() and afterDir(): a directory read only to find matches
  int statError = 0;      // errno of the last item's examination, which failed; 0: it was examined

 private:
  int examine(const char* name);
  int walkEntries();
  int walkTail(const char* prefix, const char* tail);
  int walkMatches(const char* prefix, const char* pattern, const char* wildcard);
  int scan(const std::string& component, const char* rest);
};

}  // namespace HOQ
