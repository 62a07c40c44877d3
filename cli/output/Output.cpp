#include "output/Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ExitStatus.h"

namespace HOQ::cli {

Output::Output(int descriptor) : descriptor_(descriptor), terminal_(::isatty(descriptor) == 1) {}

std::size_t Output::columns() const {
  winsize size{};
  if (::ioctl(descriptor_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

void Output::flush() {
  std::size_t done = 0;
  while (done < buffer_.size()) {
    const ssize_t written = ::write(descriptor_, buffer_.data() + done, buffer_.size() - done);
    if (written < 0) {
      const int error = errno;
      if (error == EINTR) continue;
      buffer_.clear();
      throw CommandError(kExitFailed,
                         std::string("cannot write the output: ") + std::strerror(error));
    }
    done += static_cast<std::size_t>(written);
  }
  buffer_.clear();
}

void occupyStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) != -1) continue;
    // The lowest free number is this one. Without it the first write fails all the same.
    (void)::open("/dev/null", O_RDONLY);
  }
}

}  // namespace HOQ::cli
