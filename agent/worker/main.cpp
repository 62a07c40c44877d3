#include <fcntl.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <variant>

#include "control/WorkerProcess.h"
#include "worker/ControlClient.h"
#include "worker/Service.h"

namespace {

using namespace HOQ::agent;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

bool startedByFront() {
  int type = 0;
  socklen_t length = sizeof type;
  return ::getsockopt(kControlFd, SOL_SOCKET, SO_TYPE, &type, &length) == 0 &&
         type == SOCK_SEQPACKET;
}

int work() {
  if (!startedByFront()) {
    std::fprintf(stderr, "hoq-worker: this program is started by hoqd\n");
    return kUsage;
  }
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);  // a file beyond its limit is an error like others
  (void)::fcntl(kControlFd, F_SETFD, FD_CLOEXEC);
  ControlClient control{HOQ::tls::UniqueFd(kControlFd)};
  const ControlClient::Received first = control.receive();
  if (first.closed || !first.message) return kFailed;
  const auto* welcome = std::get_if<Welcome>(&*first.message);
  if (!welcome || welcome->version != kControlVersion) {
    control.log(LogLevel::Error, "hoqd and hoq-worker are not of the same build");
    return kFailed;
  }
  Service service(control);
  if (!service.start(*welcome)) return kFailed;
  service.run();
  return 0;
}

}  // namespace

int main() {
  // Everything has ended in order but gRPC, whose threads the system ends.
  std::_Exit(work());
}
