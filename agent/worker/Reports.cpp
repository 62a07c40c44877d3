#include "worker/Reports.h"

#include <algorithm>
#include <limits>

namespace HOQ::agent {
namespace {

std::uint32_t level(int value) { return static_cast<std::uint32_t>(std::max(0, value)); }

}  // namespace

void Reports::ended(const transport::CallRecord& call) {
  if (!call.changes) return;
  Audit audit;
  audit.operation = call.method;
  audit.askedBy = call.askedBy;
  audit.cwd = call.cwd;
  audit.paths = call.paths;
  audit.pathCount = static_cast<std::uint32_t>(
      std::min<std::size_t>(call.pathCount, std::numeric_limits<std::uint32_t>::max()));
  audit.destination = call.destination;
  audit.code = call.code;
  audit.trouble = call.trouble;
  audit.bytes = call.bytesIn + call.bytesOut;
  audit.tookMicroseconds = static_cast<std::uint64_t>(call.took.count());
  audit.address = call.address;
  control_.send(audit);
}

bool Reports::sendCounters(const transport::NodeServerCounters& counters) {
  Counters now;
  for (const auto& [kind, count] : counters.calls) {
    now.calls.push_back({kind.first, kind.second, count});
  }
  now.busy = counters.refused;
  now.bytesIn = counters.bytesIn;
  now.bytesOut = counters.bytesOut;
  now.active = level(counters.active);
  now.waiting = level(counters.waiting);
  now.streams = level(counters.streams);
  if (now == sent_) return false;
  control_.send(now);
  sent_ = std::move(now);
  return true;
}

}  // namespace HOQ::agent
