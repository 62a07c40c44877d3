#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <hoq/HOQFileType.h>

#include "listing/LongLines.h"
#include "listing/RecordTaker.h"
#include "listing/Selection.h"
#include "listing/SortedStore.h"
#include "listing/TreeBlock.h"

namespace HOQ::cli {

/// The entries of a tree that are shown, and what leads to them, as they come: those of a directory
/// are set aside, sorted, when all of them are there. In memory are those of directories that are
/// not complete. One thread.
class GatheredTree : public RecordTaker {
 public:
  /// What is kept for the showing.
  struct Needs {
    Style style;
    bool dots = false;      // "." and ".." as well, where the selection has them
    bool measures = false;  // for long lines
  };

  /// `selection` and `spool` are not owned and must outlive this object.
  GatheredTree(const Selection& selection, Spool& spool, const Needs& needs)
      : selection_(selection), spool_(spool), needs_(needs) {}

  bool takesTrees() const override { return true; }
  void take(const HOQFileType& record, std::size_t level) override;
  void clear() override { levels_.clear(); }

  /// Ends the taking. The top level's entries.
  BlockPlace finish();

  const Spool& spool() const { return spool_; }

 private:
  /// The entries of a directory whose own record is still to come.
  struct Level {
    SortedStore entries;
    BlockHead head;
  };

  void takeOne(const HOQFileType& record, std::size_t level);
  BlockPlace setAside(Level& level);

  const Selection& selection_;
  Spool& spool_;
  const Needs needs_;
  std::vector<std::unique_ptr<Level>> levels_;
  std::string entry_;  // what is kept of one
};

}  // namespace HOQ::cli
