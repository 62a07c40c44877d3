#pragma once

#include <string>

#include "NodeClient.h"
#include "worker/ControlClient.h"

namespace HOQ::agent {

/// Reaches other nodes through the front, since this process has no key; those on UNIX sockets as
/// this process's own user.
class FrontDialer : public transport::Dialer {
 public:
  /// Not owned, outlives this.
  explicit FrontDialer(ControlClient& control) : control_(control) {}

  transport::Dialled dial(const std::string& address) override;

 private:
  ControlClient& control_;
};

}  // namespace HOQ::agent
