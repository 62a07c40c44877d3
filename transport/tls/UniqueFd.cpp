#include "tls/UniqueFd.h"

#include <unistd.h>

#include <cerrno>

namespace HOQ::tls {

void UniqueFd::reset(int fd) {
  const int old = std::exchange(fd_, fd);
  if (old < 0) return;
  const int kept = errno;
  (void)::close(old);  // a socket's close has no news that anybody could act on
  errno = kept;
}

}  // namespace HOQ::tls
