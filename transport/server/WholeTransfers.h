#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <hoq/HOQStageService.h>

#include "server/HaulCreate.h"

namespace HOQ::transport {

/// Transfers all of whose bytes have come, which are run one after the other; behind one that fails
/// none is. One thread.
class WholeTransfers {
 public:
  struct Item {
    HaulCreate create;
    std::optional<std::string> data;  // none: it is started and no more
  };
  struct Failure {
    std::string stage;
    int code = 0;
    std::string text;
  };

  explicit WholeTransfers(Ledger& ledger) : ledger_(ledger) {}

  /// Runs one, to its end. After a failure: nothing.
  void run(Item item);

  /// How many have come to a good end since the last time.
  std::uint32_t takeDone();
  const std::optional<Failure>& failure() const { return failure_; }
  /// Tells the node's observer of what has ended since the last time.
  void tell();

 private:
  std::optional<Failure> attempt(Item& item);

  Ledger& ledger_;
  std::uint32_t done_ = 0;
  std::optional<Failure> failure_;
  std::vector<CallRecord> untold_;
};

}  // namespace HOQ::transport
