#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tls/Address.h"
#include "tls/Result.h"
#include "tls/UniqueFd.h"

namespace HOQ::tls {

// Sockets made here are non-blocking and close on exec(3). Any thread may call.

/// Connects to `address`: each address that its host has is tried in turn until one answers, all
/// within `limit` (looking the host up is the system's business and may take its own time).
/// Blocks. kUnreachable or kTimedOut, the address named.
Result<UniqueFd> connectTo(const Address& address, std::chrono::milliseconds limit);

/// A socket that is listened on. A UNIX socket's name is removed when it is closed, if it still
/// means this socket.
class Listener {
 public:
  Listener(UniqueFd fd, Address address) : fd_(std::move(fd)), address_(std::move(address)) {}
  Listener(Listener&&) = default;
  Listener& operator=(Listener&&) = delete;
  ~Listener();

  int fd() const { return fd_.get(); }
  /// With the port that the system chose, where it was left to it.
  const Address& address() const { return address_; }

 private:
  friend Result<std::vector<Listener>> listenOn(const Address&);

  UniqueFd fd_;
  Address address_;
  dev_t device_ = 0;  // of a UNIX socket's name
  ino_t inode_ = 0;
};

/// Listens on `address`: on each address that its host has, or on the UNIX socket, which anybody
/// may connect to (mode 0666: whose peer is told who it is decides).
///
/// The folder of a UNIX socket must exist, and neither it nor a folder above may be somebody
/// else's (root's excepted) or writable by group or others (above it: unless sticky), since whoever
/// writes there can put a socket of their own in the place. A socket that nobody listens on any
/// more is replaced; one that is in use, and anything else of that name, is left alone: kUsage.
Result<std::vector<Listener>> listenOn(const Address& address);

/// One connection that waits, or an empty one if there is none (or it went away again).
/// kSystem: no descriptor left and the like, worth a pause.
Result<UniqueFd> acceptFrom(const Listener& listener);

/// Who is at the other end of a UNIX socket, as of when it connected. The kernel's word.
struct UnixPeer {
  uid_t uid = 0;
  gid_t gid = 0;
  pid_t pid = 0;
};
Result<UnixPeer> unixPeer(int fd);

/// Numeric: "192.0.2.1:40000", "[2001:db8::1]:40000", "unix:uid=1000"; "unknown" where the
/// system does not tell.
std::string remoteAddress(int fd);

/// The same without the port, for limits per peer. IPv4 addresses in IPv6 form become IPv4.
std::string remoteHost(int fd);

}  // namespace HOQ::tls
