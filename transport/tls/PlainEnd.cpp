#include "tls/PlainEnd.h"

#include <sys/socket.h>

#include <cerrno>

namespace HOQ::tls {
namespace {

/// What may wait in the pair each way: about a message, so that writer and reader need not take
/// turns within one.
constexpr int kWaiting = 512 * 1024;

}  // namespace

bool PlainEnd::open(UniqueFd& other) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) return false;
  for (const int end : ends)  // as much of it as the system grants
    (void)::setsockopt(end, SOL_SOCKET, SO_SNDBUF, &kWaiting, sizeof kWaiting);
  fd_.reset(ends[0]);
  other.reset(ends[1]);
  return true;
}

PlainEnd::Read PlainEnd::read(unsigned char* bytes, std::size_t count, std::size_t* got) {
  *got = 0;
  for (;;) {
    const ssize_t result = ::recv(fd_.get(), bytes, count, MSG_DONTWAIT);
    if (result > 0) {
      *got = static_cast<std::size_t>(result);
      return Read::kBytes;
    }
    if (result == 0) return Read::kEnd;
    if (errno == EINTR) continue;
    if (errno != EAGAIN) return Read::kAbandoned;
    readable_ = false;
    return Read::kNothing;
  }
}

std::size_t PlainEnd::write(const unsigned char* bytes, std::size_t count) {
  std::size_t taken = 0;
  while (taken < count && isWritable()) {
    const ssize_t result =
        ::send(fd_.get(), bytes + taken, count - taken, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (result > 0)
      taken += static_cast<std::size_t>(result);
    else if (errno == EAGAIN)
      writable_ = false;
    else if (errno != EINTR)
      gone_ = true;
  }
  return taken;
}

void PlainEnd::finish() { (void)::shutdown(fd_.get(), SHUT_WR); }  // fails where it is gone

}  // namespace HOQ::tls
