#pragma once

#include "NodeServer.h"
#include "worker/ControlClient.h"

namespace HOQ::agent {

/// Tells the front what calls did. Any thread.
class Reports : public transport::CallObserver {
 public:
  /// Not owned, outlives this.
  explicit Reports(ControlClient& control) : control_(control) {}

  /// Sends an audit record of a call that changes something.
  void ended(const transport::CallRecord& call) override;

  /// Sends the counters if they have changed since the last time: true. One thread.
  bool sendCounters(const transport::NodeServerCounters& counters);

 private:
  ControlClient& control_;
  Counters sent_;
};

}  // namespace HOQ::agent
