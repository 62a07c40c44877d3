#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>

#include <hoq/HOQFileType.h>

#include "listing/LongLines.h"
#include "listing/Selection.h"

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

/// A directory whose entries are shown.
struct Directory {
  std::string shown;
  Selection::Records records;
};

}  // namespace HOQ::cli
