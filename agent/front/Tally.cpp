#include "front/Tally.h"

#include <algorithm>

namespace HOQ::agent {

void add(Counters& sum, const Counters& more) {
  for (const Counters::CallKind& row : more.calls) {
    const auto same = std::find_if(sum.calls.begin(), sum.calls.end(), [&](const auto& known) {
      return known.operation == row.operation && known.code == row.code;
    });
    if (same != sum.calls.end()) {
      same->count += row.count;
    } else if (sum.calls.size() < kMostCallKinds) {
      sum.calls.push_back(row);
    }
  }
  sum.busy += more.busy;
  sum.bytesIn += more.bytesIn;
  sum.bytesOut += more.bytesOut;
}

}  // namespace HOQ::agent
