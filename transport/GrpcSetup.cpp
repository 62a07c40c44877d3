#include "GrpcSetup.h"

#include <cstdlib>

namespace HOQ::transport {

void setUpGrpc() {
  // Each waits for its own connections. By default one thread waits for those of all, and wakes the
  // one that is concerned: twenty times for a message of a large file.
  (void)::setenv("GRPC_POLL_STRATEGY", "poll", 0);
}

}  // namespace HOQ::transport
