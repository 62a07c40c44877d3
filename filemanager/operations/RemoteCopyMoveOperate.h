#pragma once

#include <sys/types.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQHaulControl.h>
#include <hoq/HOQSecurityAttributes.h>

#include "engine/FileOperate.h"

namespace HOQ {

/// Sends items and trees to another node, one transfer for each item.
///
/// The walk positions the source routine. The target routine only holds the text of the place on
/// the other node, built in step with the walk; it never touches the disk. Nothing is rolled back.
/// The walk stops at the first failure.
class RemoteCopyMoveOperate : public FileOperate {
 public:
  /// The routines and `requestAttributes` (null: each item keeps its source's mode) are not owned.
  /// Copies, unless moveItems is set.
  RemoteCopyMoveOperate(HOQFileRoutine& source, HOQFileRoutine& targetRoutine,
                        const HOQFilerOptions& requestOptions,
                        boost::shared_ptr<HOQHaulControl> transferControl,
                        const HOQSecurityAttributes* requestAttributes);
  ~RemoteCopyMoveOperate() override;

  int operate(const char* name) override;
  int beforeDir(int& savedLength) override;
  int afterDir(int savedLength, int result) override;

  bool moveItems = false;                           // emptied source directories are removed
  boost::shared_ptr<HOQConnectionInfo> connection;  // of the target node; set before the walk
  HOQFileRoutine& target;
  int targetLength = -1;  // of the path that this level's names are appended to; -1: not known yet
  int depth = 0;          // how many directories the walk is inside of
  boost::shared_ptr<HOQHaulControl> control;
  const HOQSecurityAttributes* attributes;

 private:
  using FileId = std::pair<dev_t, ino_t>;

  bool has(HOQFilerOptions::Bit bit) const { return error.options.has(bit); }
  int refuseItem();
  bool isLink();
  int transfer(const std::string& itemName);
  int transferDirectory(const std::string& itemName);
  bool examine(const std::string& place, struct stat& found);

  std::set<FileId> ownCopies;  // directories on this node that transfers of this request made
};

}  // namespace HOQ
