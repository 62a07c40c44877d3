#pragma once

namespace HOQ::transport {

/// Settles how gRPC works in this process, which it reads from the environment as it begins. To be
/// called before anything of it is used, and while no other thread looks into the environment. What
/// the environment says already holds.
void setUpGrpc();

}  // namespace HOQ::transport
