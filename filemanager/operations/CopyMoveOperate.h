#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/FileOperate.h"
#include "operations/ContentsCarrier.h"
#include "routine/HOQFileRoutineLin.h"

namespace HOQ {

/// Copies or moves items and trees from one routine's paths to another's of the same kind.
///
/// The walk positions the source routine; the target routine's path is built in step with it, so
/// that it names the place of the item in hand. A move tries to rename and falls back to copying
/// and removing, item by item. Nothing is rolled back. The walk stops at the first failure.
class CopyMoveOperate : public FileOperate {
 public:
  /// `source` and `target` are not owned. The target is examined once. Copies, unless moveItems is
  /// set.
  CopyMoveOperate(HOQFileRoutine& source, HOQFileRoutine& target,
                  const HOQFilerOptions& requestOptions);
  ~CopyMoveOperate() override;

  int operate(const char* name) override;
  int beforeDir(int& savedLength) override;
  int afterDir(int savedLength, int result) override;

  bool moveItems = false;
  HOQFileRoutine& target;
  int targetLength = -1;  // of the path that this level's names are appended to; -1: not known yet
  int depth = 0;          // how many directories the walk is inside of
  int linkDepth = -1;     // at which the walk entered a directory through a link; -1: it did not
  bool targetIsDir;       // whether the place to copy into, before the item's name, is a directory

 private:
  using FileId = std::pair<dev_t, ino_t>;

  static constexpr FileId kNotMade{};    // a directory that has no copy: see makeDirectory()
  static constexpr int kLeftToCopy = 2;  // a directory that cannot be renamed to its place

  bool has(HOQFilerOptions::Bit bit) const { return error.options.has(bit); }
  /// Whether what is copied is also removed: not what was reached through a linked directory.
  bool removesSource() const { return moveItems && linkDepth == -1; }

  void stayInTarget();
  void leaveTarget();
  bool findPlace(const char* name);
  bool examinePlace();
  int refuseCopyIntoItself(bool exists);
  bool leadsToTarget(const FileId& directory);
  void findTargetChain();
  void noteEnteredTarget();
  int renameDirectory();
  int meetExisting();
  int carryItem(bool exists);
  int makeDirectory(bool exists);
  int copyRegular();
  int copyOpened();
  int copyLink();
  bool sourceIsLink();

  HOQFileRoutineLin* const linuxTarget;  // the target routine, if it is one of those
  const std::unique_ptr<ContentsCarrier> carrier;
  int placeError = 0;                  // why the item's place could not be examined; 0: it was
  std::string targetChainOf;           // the directory that targetChain was made for
  std::vector<FileId> targetChain;     // it, and all above it
  std::vector<FileId> enteredTargets;  // the copies of the directories that the walk is inside of
};

}  // namespace HOQ
