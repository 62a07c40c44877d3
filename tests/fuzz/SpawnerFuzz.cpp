// Whatever the front says to the spawner: it is carried out within its bounds, or ends it. Each
// input is a row of messages, each with a byte of its length before it.

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include "spawner/Spawner.h"

using namespace HOQ::agent;
using HOQ::tls::Result;

namespace {

constexpr char kText[] =
    "listen = [\"unix:/x\"]\n[limits]\nworkers = 3\n"
    "[[client]]\nname = \"admin\"\nrights = [\"read\"]\n";

void require(bool holds) {
  if (!holds) std::abort();
}

/// Starts no process, and holds the spawner to what it may ask.
class FakeLauncher : public Launcher {
 public:
  Result<pid_t> launch(const WorkerPlan& plan, int) override {
    require(plan.client == "admin" || plan.client == "(unknown)");
    require(!plan.mayChange && (plan.client == "admin" || !plan.mayRead));
    require(alive_.size() < 3);
    alive_.insert(++lastPid_);
    return lastPid_;
  }
  void kill(pid_t pid) override {
    require(alive_.count(pid) == 1);
    killed_.insert(pid);
  }
  void reap(const std::function<void(pid_t, const std::string&)>& ended) override {
    for (const pid_t pid : killed_) {
      alive_.erase(pid);
      ended(pid, "signal 9");
    }
    killed_.clear();
  }

 private:
  pid_t lastPid_ = 1;
  std::set<pid_t> alive_;
  std::set<pid_t> killed_;
};

/// Takes what the spawner has said, so that it never waits: all of it is in order.
void hear(ControlSocket& front) {
  for (;;) {
    const ControlSocket::Received received = front.receive();
    if (received.outcome == ControlSocket::Outcome::WouldBlock) return;
    require(received.outcome == ControlSocket::Outcome::Done);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  int ends[2];
  require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0);
  ControlSocket front(HOQ::tls::UniqueFd(ends[0]), Sender::Spawner);
  const Surroundings surroundings{"files"};
  FakeLauncher launcher;
  Spawner spawner(ControlSocket(HOQ::tls::UniqueFd(ends[1]), Sender::Starter), launcher,
                  parseConfiguration(kText, "hoqd.toml", surroundings).configuration, surroundings,
                  [] { return Result<std::string>(std::string(kText)); });
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (rest.size() > 1) {
    const std::size_t length = std::size_t{static_cast<unsigned char>(rest.front())} + 1;
    const std::string_view message = rest.substr(1, length);
    rest.remove_prefix(1 + message.size());
    if (message.empty()) break;
    require(::send(front.fd(), message.data(), message.size(), 0) >= 0);
    if (!spawner.obey()) return 0;
    spawner.reap();
    hear(front);
  }
  return 0;
}
