#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contents/BatchQueue.h"
#include "contents/ContentsOptions.h"
#include "contents/Interruption.h"
#include "contents/OpenLevels.h"
#include "contents/Outcome.h"
#include "contents/Reader.h"
#include "progress/ContentsProgress.h"

namespace HOQ::cli {

/// Carries items with two threads: one that reads and looks around, and the caller's, that writes.
/// One run.
class Carriage {
 public:
  /// Makes a side, for the thread that calls it.
  using MakeSide = std::function<std::unique_ptr<Side>()>;

  /// Nothing is owned but the functions, which outlive the run.
  Carriage(const ContentsOptions& options, MakeSide makeSource, MakeSide makeTarget,
           Interruption& interruption, Outcome& outcome, ContentsProgress& progress);

  /// Into `directory` of the target side, which is there and no link. `placeName`: see
  /// StagingPlace. Whatever ends it before its end is thrown, when everything is tidied up.
  void run(const std::vector<Wanted>& items, const std::string& directory,
           const std::string& placeName);

  /// To standard output, one behind the other.
  void runToStream(const std::vector<Wanted>& items);

 private:
  using Read = std::function<void(Reader&)>;

  void carry(const Read& read);
  void readAll(const Read& read);

  const ContentsOptions& options_;
  const MakeSide makeSource_;
  const MakeSide makeTarget_;
  Interruption& interruption_;
  Outcome& outcome_;
  ContentsProgress& progress_;
  BatchQueue queue_;
  OpenLevels levels_;
};

}  // namespace HOQ::cli
