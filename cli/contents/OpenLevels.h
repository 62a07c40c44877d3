#pragma once

#include <memory>
#include <vector>

#include "contents/Batch.h"

namespace HOQ::cli {

/// The levels that have a place and may have to be tidied up. One thread at a time.
class OpenLevels {
 public:
  /// Those that have come to their end are forgotten.
  void add(const std::shared_ptr<Level>& level);
  /// Removes the places of the others.
  void discard(Side& target);

 private:
  std::vector<std::shared_ptr<Level>> levels_;
};

}  // namespace HOQ::cli
