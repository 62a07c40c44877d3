#pragma once

#include <string>

#include "contents/Side.h"

namespace HOQ::cli {

/// A directory beside the targets in which they come together, to be moved out when they are whole:
///
///     TARGETS' DIRECTORY/NAME/RUN/...
///
/// NAME follows from what is made, so that a later run finds what an interrupted one left. RUN is a
/// run's own: one that takes the place over gives it another name, and a run that is still alive
/// then fails instead of writing into what is not its own any more.
class StagingPlace {
 public:
  /// `name`: see placeName(). Nothing is made yet.
  StagingPlace(std::string directory, std::string name);

  /// Makes the place, first removing what an earlier run has left; with `resume` takes that over
  /// instead. `side` is not kept. Throws SideError.
  void open(Side& side, bool resume);
  bool isOpen() const { return !work_.empty(); }
  /// Whether something that an earlier run has left may be in it.
  bool resumed() const { return resumed_; }

  /// Whether an earlier run has left a place.
  bool isThere(Side& side) const;

  /// Where targets come together.
  const std::string& work() const { return work_; }
  const std::string& directory() const { return directory_; }

  /// Removes the place with what is in it, unless another run has taken it over. What cannot be
  /// removed is left: the next run meets it.
  void discard(Side& side) const;

 private:
  void takeOver(Side& side);

  const std::string directory_;
  const std::string path_;
  std::string work_;
  bool resumed_ = false;
};

/// ".hoq-put-0123456789abcdef": the same for the same `command` ("put") and `targets`.
std::string placeName(const std::string& command, const std::string& targets);

}  // namespace HOQ::cli
