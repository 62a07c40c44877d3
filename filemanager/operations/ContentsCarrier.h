#pragma once

#include "engine/FileOperate.h"
#include "routine/HOQFileRoutine.h"

namespace HOQ {

/// How the contents of a regular file get from one routine's open file into another's.
///
/// Contract: reads `source` from where it stands to its end and writes all of it to `target` where
/// that stands. Opens and closes nothing. 0, or the code of the step that failed, which has been
/// reported through `operation`; what was written until then stays. A file that grows meanwhile is
/// carried as far as it was read. Stateless; one carrier serves any number of files.
class ContentsCarrier {
 public:
  virtual ~ContentsCarrier() = default;

  virtual int carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) = 0;
};

/// Carries by blocks of 1024 bytes, one read and one write each.
class BlockCarrier final : public ContentsCarrier {
 public:
  int carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) override;
};

}  // namespace HOQ
