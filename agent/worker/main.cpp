#include <fcntl.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <variant>

#include "control/WorkerProcess.h"
#include "worker/ControlClient.h"
#include "worker/Service.h"

namespace {

using namespace HOQ::agent;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

bool startedByDaemon() {
  int type = 0;
  socklen_t length = sizeof type;
  return ::getsockopt(kControlFd, SOL_SOCKET, SO_TYPE, &type, &length) == 0 &&
         type == SOCK_SEQPACKET;
}

/// What the spawner lets this worker have, whatever the front says: "read", "change",
/// "read,change", "none".
void limitRights(const std::string& most, Welcome& welcome) {
  const auto names = [&](const char* right) { return most.find(right) != std::string::npos; };
  welcome.mayRead = welcome.mayRead && names("read");
  welcome.mayChange = welcome.mayChange && names("change");
}

/// Between two messages of a large file memory is kept: to give it back and have it anew costs more
/// than to receive what is in it. When nothing is under way the service gives back all.
void keepMemory() {
  constexpr int kMessages = 8 << 20;
  constexpr int kMessage = 2 << 20;
  (void)::mallopt(M_TRIM_THRESHOLD, kMessages);
  (void)::mallopt(M_MMAP_THRESHOLD, kMessage);
}

/// `rights`: what limitRights() takes.
int work(const std::string& rights) {
  if (rights.empty() || !startedByDaemon()) {
    std::fprintf(stderr, "hoq-worker: this program is started by hoqd\n");
    return kUsage;
  }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // Other processes of the same user are not to look into this one, or to speak for it.
  (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
#endif
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);  // a file beyond its limit is an error like others
  (void)::fcntl(kControlFd, F_SETFD, FD_CLOEXEC);
  keepMemory();
  ControlClient control{HOQ::tls::UniqueFd(kControlFd)};
  ControlClient::Received first = control.receive();
  if (first.closed || !first.message) return kFailed;
  auto* welcome = std::get_if<Welcome>(&*first.message);
  if (!welcome || welcome->version != kControlVersion) {
    control.log(LogLevel::Error, "hoqd and hoq-worker are not of the same build");
    return kFailed;
  }
  limitRights(rights, *welcome);
  Service service(control);
  if (!service.start(*welcome)) return kFailed;
  service.run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Everything has ended in order but gRPC, whose threads the system ends.
  std::_Exit(work(argc == 3 ? argv[2] : ""));
}
