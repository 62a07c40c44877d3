#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

namespace HOQ {

/// An open directory of HOQFileRoutineLin.
///
/// A deep walk holds one for each level. So that it does not run out of descriptors, the routine
/// has the outer ones read to their end when there are many: drain().
class OpenDirHandle {
 public:
  OpenDirHandle() = default;
  OpenDirHandle(const OpenDirHandle&) = delete;
  OpenDirHandle& operator=(const OpenDirHandle&) = delete;
  ~OpenDirHandle();

  /// As opendir(3), of `name` in `parent` as openat(2) takes them; `directory` is the whole path.
  /// -1 with errno.
  int open(int parent, const char* name, const std::string& directory);

  /// The name of `item` in this directory, for calls relative to descriptor(): null where `item`
  /// does not stand right below the path that was opened.
  const char* nameOf(const std::string& item) const { return nameIn(path, item); }

  /// The same for any path of a directory.
  static const char* nameIn(const std::string& directory, const std::string& item);

  /// The kind of `item`, as in st_mode, where it is the entry in hand and the directory told it
  /// with the name; 0 where it did not, and for a directory.
  mode_t kindInHand(const std::string& item) const;

  int descriptor() const { return dirfd(dir); }

  /// Steps to the next entry, "." and ".." first. 0, or -1 at the end or on a failure.
  int step();

  /// The name of the entry in hand; a fatal assertion where there is none.
  const char* name() const;

  /// Whether a descriptor is held.
  bool isOpen() const { return dir != nullptr; }

  /// Reads the entries that are left into memory and gives the descriptor back.
  void drain();

 private:
  bool givesDots() const { return dots[2] == '\0'; }
  const char* nextReal();

  DIR* dir = nullptr;
  struct dirent* entry = nullptr;  // what the last step found, while `dir` is open
  char dots[3] = {0, 0, 0};        // ".", then "..": the first two names; full: real entries

  std::string path;               // as it was opened
  const char* current = nullptr;  // the name in hand; in `entry` or in `drained`
  std::string drained;            // names, each with its NUL
  std::size_t nextDrained = 0;
};

}  // namespace HOQ
