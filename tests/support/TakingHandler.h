#pragma once

#include <cstddef>
#include <limits>

#include "support/CollectingHandler.h"

namespace HOQ::test {

/// A receiver that takes records one by one, until it wants no more. One thread.
class TakingHandler : public CollectingHandler {
 public:
  static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

  /// `most`: with this many records taken it says that it wants no more.
  explicit TakingHandler(std::size_t most = kAll) : most_(most) {}

  bool takesRecords() const override { return true; }
  bool record(const boost::shared_ptr<HOQFileType>& record) override {
    records.push_back(record);
    return records.size() < most_;
  }

  std::vector<boost::shared_ptr<HOQFileType>> records;

 private:
  const std::size_t most_;
};

}  // namespace HOQ::test
