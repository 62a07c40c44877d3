#pragma once

#include <string>

#include "NodeClient.h"
#include "worker/ControlClient.h"

namespace HOQ::agent {

/// Reaches other nodes through the front: this process has no key.
class FrontDialer : public transport::Dialer {
 public:
  /// Not owned, outlives this.
  explicit FrontDialer(ControlClient& control) : control_(control) {}

  transport::Dialled dial(const std::string& address) override;

 private:
  ControlClient& control_;
};

}  // namespace HOQ::agent
