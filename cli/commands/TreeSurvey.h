#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Session.h"
#include "commands/Lookup.h"

namespace HOQ::cli {

/// The directories of a tree, and which parts of it one recursive request may change: those
/// without links, since a request passes a change on through a link, and without anything that
/// cannot be read.
class TreeSurvey {
 public:
  /// How a directory is to be changed.
  enum class Work {
    kWhole,    // with everything below it, in one request
    kCovered,  // by the request of one above it
    kEntries,  // by itself, and each of its entries that are no directories and no links
    kByItem,   // it cannot be read as it is: by the careful walk
  };

  struct Directory {
    std::string full;
    std::size_t parent;  // its index; the first is its own
    RecordPtr record;
    std::size_t entries = 0;
    std::size_t items = 0;  // entries, and those of everything below
    bool isPlain = true;    // readable and without links, like everything below
    Work work = Work::kCovered;
  };

  /// Lists the tree at `root`, several directories at once. `fields`: of their records.
  TreeSurvey(Session& session, const std::string& root, const RecordPtr& record, unsigned fields);

  /// Parents before children.
  const std::vector<Directory>& directories() const { return directories_; }

 private:
  void list(std::size_t from, std::size_t to, unsigned fields);
  void addUp();
  void divide();

  Session& session_;
  std::vector<Directory> directories_;
};

}  // namespace HOQ::cli
