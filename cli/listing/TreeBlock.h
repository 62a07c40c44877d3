#pragma once

#include <cstdint>
#include <string_view>

#include "listing/Frames.h"
#include "listing/LongLines.h"
#include "listing/Spool.h"

namespace HOQ::cli {

/// Where the entries of a directory of a tree stand.
struct BlockPlace {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;  // the same: there is nothing in it
};

/// What is known of the entries of a directory when all of them are.
struct BlockHead {
  LongWidths widths;          // of those shown
  std::uint64_t count = 0;    // of all
  std::uint64_t folders = 0;  // directories among them
  bool shows = false;         // some are shown
};

/// An entry of a directory of a tree. Its texts are valid until the next one is asked for.
struct TreeEntry {
  std::string_view name;
  std::string_view packed;  // its record
  bool shown = false;       // else it is there for what is below it
  bool folder = false;      // a directory other than "." and ".."
  BlockPlace below;
};

/// Appends what stands before a directory's entries.
void appendHead(Spool& spool, const BlockHead& head);
/// An entry's value, beside its name; of `entry` what is not in its record.
void packEntry(std::string& out, const TreeEntry& entry, const HOQFileType& record);

/// Reads the entries of a directory of a tree. One thread.
class TreeBlock {
 public:
  /// `spool` is not owned and must outlive this object.
  TreeBlock(const Spool& spool, const BlockPlace& place);

  const BlockHead& head() const { return head_; }

  /// The next entry. False: there is no further one.
  bool next(TreeEntry& entry);

 private:
  Frames frames_;
  BlockHead head_;
};

}  // namespace HOQ::cli
