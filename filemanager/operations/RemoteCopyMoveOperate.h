#pragma once

#include <sys/types.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <deque>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQHaulControl.h>
#include <hoq/HOQSecurityAttributes.h>

#include "engine/FileOperate.h"

namespace HOQ {

class HOQFileDeserializerParams;
class HOQFileSerializerParams;

/// Sends items and trees to another node, one transfer for each item.
///
/// The walk positions the source routine. The target routine only holds the text of the place on
/// the other node, built in step with the walk; it never touches the disk. Nothing is rolled back.
/// The walk stops at the first failure.
///
/// What is small may go ahead of the outcomes of the items before it, where it replaces nothing;
/// what is said of it waits for them, and is not said where one of them fails: nobody can tell but
/// by the time that it takes.
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

  /// Sends news to `handler` from here on, in the order of the items, and lets items go ahead.
  void report(HOQRequestHandlerPtr handler);
  /// Waits for what is under way. 0, or the code of the first that failed, which has been told.
  int settle();

  bool moveItems = false;                           // emptied source directories are removed
  boost::shared_ptr<HOQConnectionInfo> connection;  // of the target node; set before the walk
  HOQFileRoutine& target;
  int targetLength = -1;  // of the path that this level's names are appended to; -1: not known yet
  int depth = 0;          // how many directories the walk is inside of
  boost::shared_ptr<HOQHaulControl> control;
  const HOQSecurityAttributes* attributes;

 private:
  using FileId = std::pair<dev_t, ino_t>;
  class OrderedNews;

  bool has(HOQFilerOptions::Bit bit) const { return error.options.has(bit); }
  int refuseItem();
  bool isLink();
  int transfer(const std::string& itemName);
  int transferDirectory(const std::string& itemName);
  bool examine(const std::string& place, struct stat& found);
  int sendAhead(const boost::shared_ptr<HOQFileSerializerParams>& sourceParams,
                const boost::shared_ptr<HOQFileDeserializerParams>& targetParams);
  bool mayGoAhead() const;
  int settleOldest();
  void tell(const std::string& itemPath);

  std::set<FileId> ownCopies;  // directories on this node that transfers of this request made
  HOQRequestHandlerPtr news;   // where error.handler passes things on to; empty: nothing goes ahead
  std::deque<std::string> ahead;  // paths of what is under way; the first one's progress was told
  bool isConnected = false;       // an item has been transferred
  int failure = 0;                // of an item that went ahead
};

}  // namespace HOQ
