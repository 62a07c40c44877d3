#pragma once

namespace HOQ::agent {

/// Where a worker finds its end of the control socket.
constexpr int kControlFd = 3;

}  // namespace HOQ::agent
