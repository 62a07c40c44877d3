#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <memory>
#include <string>

#include <hoq/HOQFileType.h>

#include "listing/Gathering.h"
#include "listing/LongLines.h"
#include "listing/Selection.h"
#include "listing/Spool.h"
#include "listing/TreeBlock.h"

namespace HOQ::cli {

/// What `hoq ls` was asked to show.
struct View {
  bool json = false;
  bool longFormat = false;
  bool tree = false;   // everything below, not one level
  bool sizes = false;  // beside the names
  Style style;
};

/// An item that is shown by itself.
struct Item {
  std::string shown;  // as the user named it
  boost::shared_ptr<HOQFileType> record;
};

/// A directory whose entries are shown, or, of a tree, everything below it.
struct Directory {
  std::string shown;
  Selection::Records records;
  std::shared_ptr<Gathering> gathered = nullptr;  // instead of records, where it is set
  const Spool* spool = nullptr;                   // of a tree: has its entries; not owned
  BlockPlace top = {};                            // and where they begin
};

/// Whether lists are shown so that their entries can be gathered one by one.
inline bool gathers(const View& view, bool terminal) {
  return !view.tree && (view.json || view.longFormat || (!view.sizes && !terminal));
}

}  // namespace HOQ::cli
