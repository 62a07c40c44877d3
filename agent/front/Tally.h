#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "control/Message.h"

namespace HOQ::agent {

/// What the front counts, for metrics. Belongs to the loop's thread.
struct Tally {
  using Count = std::uint64_t;

  std::map<std::string, Count> accepted;    // connections, by "tls" and "unix"
  std::map<std::string, Count> refused;     // connections, by reason
  std::map<std::string, Count> handshakes;  // that failed, by kind
  std::map<std::string, Count> dials;       // for workers, by outcome
  std::map<std::string, Count> reloads;     // by outcome
  std::map<std::string, Count> workerEnds;  // by "asked" and "unasked"
  Count workerStarts = 0;
  Count auditRecords = 0;
  Count auditFailures = 0;

  /// What the workers of a client have counted that are gone.
  std::map<std::string, Counters> pastWorkers;
};

/// Adds what only grows of `more` to `sum`; at most kMostCallKinds rows of calls.
void add(Counters& sum, const Counters& more);

}  // namespace HOQ::agent
