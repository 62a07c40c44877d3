#pragma once

#include <memory>

#include <hoq/HOQContentsEngine.h>

#include "engine/FileOperate.h"
#include "routine/HOQFileRoutine.h"

namespace HOQ {

/// How the contents of a regular file get from one routine's open file into another's.
///
/// Contract: reads `source` from where it stands to its end and writes all of it to `target` where
/// that stands. Opens and closes nothing. 0, or the code of the step that failed, which has been
/// reported through `operation`; what was written until then stays. A file that grows meanwhile is
/// carried as far as it was read. One carrier serves any number of files, in one thread.
class ContentsCarrier {
 public:
  /// The carrier that an engine stands for.
  static std::unique_ptr<ContentsCarrier> make(HOQContentsEngine::Kind engine);

  virtual ~ContentsCarrier() = default;

  virtual int carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) = 0;
};

/// Carries by blocks of 1024 bytes, one read and one write each.
class BlockCarrier final : public ContentsCarrier {
 public:
  int carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) override;
};

/// Has the system carry what it carries by itself, holes kept, and the rest, and what is small, by
/// pieces of 256 KiB. What fails is met, and told of, by reading and writing alone: the messages
/// and codes are those of the blocks. A write that takes a part is followed by one of the rest.
class KernelCarrier final : public ContentsCarrier {
 public:
  int carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) override;

 private:
  std::unique_ptr<char[]> piece_;  // made for the first file
};

}  // namespace HOQ
