#include "contents/Interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

/// Read by both threads of a run; lock-free, and so fit for a handler.
std::atomic<int> noted{0};
static_assert(std::atomic<int>::is_always_lock_free);
int wakePipe[2] = {-1, -1};

/// The second signal ends the program: the first has taken this away.
extern "C" void note(int signal) {
  const int error = errno;
  noted = signal;
  (void)!::write(wakePipe[1], "", 1);  // full: it has been woken
  errno = error;
}

}  // namespace

Interruption::Interruption() {
  noted = 0;
  if (::pipe2(wakePipe, O_CLOEXEC | O_NONBLOCK) != 0)
    throw CommandError(kExitFailed, "cannot make a pipe");
  for (const int signal : kSignals) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = note;
    // Whoever reads no more is not asked again; tidying up may still have something to say.
    action.sa_flags = signal == SIGPIPE ? 0 : static_cast<int>(SA_RESETHAND);
    (void)::sigaction(signal, &action, nullptr);  // cannot fail: both are valid
  }
}

Interruption::~Interruption() {
  for (const int signal : kSignals) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == note)
      ::signal(signal, SIG_DFL);
  }
  for (int& end : wakePipe) {
    (void)::close(end);  // nothing was written that anybody waits for
    end = -1;
  }
}

void Interruption::check() const {
  if (noted != 0 && !acknowledged_) throw Interrupted();
}

void Interruption::acknowledge() { acknowledged_ = true; }

void Interruption::waitReadable(int descriptor) const {
  pollfd waited[] = {{descriptor, POLLIN, 0}, {wakePipe[0], POLLIN, 0}};
  while (::poll(waited, 2, -1) < 0 && errno == EINTR) check();
  check();
}

void Interruption::die() {
  const int signal = noted;
  ::signal(signal, SIG_DFL);
  ::raise(signal);
  std::_Exit(128 + signal);  // not reached, unless the signal is blocked
}

}  // namespace HOQ::cli
