#pragma once

namespace HOQ {

/// How the calling thread's last attempt to connect to another node ended: the code of
/// initializeSync(). The makers of transfer ends only hand on whether there is an end; the driver
/// asks here why not.
void noteConnectionOutcome(int code);
int connectionOutcome();

}  // namespace HOQ
