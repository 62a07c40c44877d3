#pragma once

#include <string>

#include <hoq/HOQMessage.h>

#include "server/Ledger.h"

namespace hoq::v1 {
class HaulRequest_Create;
}

namespace HOQ::transport {

/// What creates a transfer, as it came.
struct HaulCreate {
  std::string functional;
  HOQMessage params;
  std::string askedBy;
  std::string address;  // where the client's connection came from; may be empty
  bool isReadable = false;
  bool isAdmitted = false;
  std::string trouble;  // why it is not

  static HaulCreate take(hoq::v1::HaulRequest_Create& from, const std::string& address);

  /// Asks for a place among the calls. What it answers is noted here as well.
  Ledger::Admission admit(Ledger& ledger);

  /// What is told of it when it has ended.
  CallRecord record(const Ledger& ledger) const;
};

}  // namespace HOQ::transport
