#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQKeptThread.h>
#include <hoq/HOQStageService.h>

#include "server/HaulCreate.h"

namespace HOQ::transport {

/// Transfers all of whose bytes have come, which are run in order. Those of contents overlap: the
/// next one begins while receivers of some before it still work. They end in order as well; should
/// one fail, those begun behind it are undone, and no more begin. One thread.
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
  ~WholeTransfers() { abandon("The transfer was left"); }

  /// Begins one, and ends some of those before it. After a failure: nothing.
  void begin(Item item);
  /// Ends all that were begun.
  void settle();
  /// Undoes all that were begun and have not ended.
  void abandon(const std::string& trouble);

  /// How many have come to a good end since the last time.
  std::uint32_t takeDone();
  const std::optional<Failure>& failure() const { return failure_; }
  /// Tells the node's observer of what has ended since the last time.
  void tell();

 private:
  struct Running {
    std::unique_ptr<HOQStageService> service;
    HOQChannelEndPtr end;
    CallRecord record;
    std::chrono::steady_clock::time_point began;
    Ledger::Held held = Ledger::Held::kNone;
  };

  bool start(Running& one, Item& item);
  void settleOldest();
  void fail(Running& one, const char* stage, int code, std::string text);
  void ended(Running& one);

  Ledger& ledger_;
  std::deque<Running> running_;
  std::uint32_t done_ = 0;
  std::optional<Failure> failure_;
  std::vector<CallRecord> untold_;
  std::optional<HOQKeptThread::Keeping> keeping_;  // from the first begin() to the next settle()
};

}  // namespace HOQ::transport
