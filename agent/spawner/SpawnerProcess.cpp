#include "spawner/SpawnerProcess.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <hoq/HOQVersion.h>

#include "config/ConfigurationFile.h"
#include "spawner/ForkLauncher.h"
#include "spawner/Spawner.h"

namespace HOQ::agent {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kPlaces[] = {"hoq-worker", "../libexec/hoq/hoq-worker",
                                   "../" HOQ_INSTALL_LIBEXECDIR "/hoq/hoq-worker"};

/// How long workers may take to end once the front is gone; they need less if they are well.
constexpr std::chrono::seconds kEndLimit{8};

/// Where the framework's library lies; the other libraries lie there, too.
std::string libraryFolder() {
  Dl_info info{};
  const auto* const symbol = reinterpret_cast<const void*>(&frameworkVersion);
  if (::dladdr(symbol, &info) == 0 || !info.dli_fname) return "";
  std::error_code error;
  return fs::canonical(info.dli_fname, error).parent_path().string();
}

std::vector<std::string> programFolders(const std::string& worker, const std::string& plugins) {
  std::error_code error;
  std::vector<std::string> folders = {fs::path(worker).parent_path().string(), libraryFolder()};
  if (!plugins.empty()) folders.push_back(fs::canonical(plugins, error).string());
  std::vector<std::string> good;
  for (std::string& folder : folders) {
    if (folder.size() > 1) good.push_back(std::move(folder));
  }
  return good;
}

/// Readable when a child has ended.
tls::UniqueFd childSignals() {
  sigset_t children;
  (void)::sigemptyset(&children);
  (void)::sigaddset(&children, SIGCHLD);
  (void)::sigprocmask(SIG_BLOCK, &children, nullptr);  // fails for bad arguments only
  return tls::UniqueFd(::signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK));
}

void forgetSignals(int fd) {
  signalfd_siginfo info{};
  while (::read(fd, &info, sizeof info) > 0) {
  }
}

int msUntil(Clock::time_point time) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

/// The front is gone: workers know by their sockets, and have a while.
void endWorkers(Spawner& spawner, int signals) {
  const Clock::time_point limit = Clock::now() + kEndLimit;
  bool killed = false;
  while (spawner.hasWorkers()) {
    if (!killed && Clock::now() >= limit) {
      spawner.killAll();
      killed = true;
    }
    pollfd waiting{signals, POLLIN, 0};
    (void)::poll(&waiting, 1, killed ? -1 : msUntil(limit));
    forgetSignals(signals);
    spawner.reap();
  }
}

/// What signals people and supervisors send is for the front, whose end is then seen here.
void hearOnlyOfChildren() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGUSR1, SIGUSR2}) {
    (void)std::signal(signal, SIG_IGN);
  }
}

int spawnerMain(tls::UniqueFd socket, const Configuration& configuration,
                const Surroundings& surroundings, const std::string& worker) {
  (void)::prctl(PR_SET_NAME, "hoqd-spawner", 0, 0, 0);
  (void)::setpgid(0, 0);  // a terminal's signals are not for it
  (void)::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
  (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
  hearOnlyOfChildren();
  const tls::UniqueFd signals = childSignals();
  if (!signals) return 1;
  std::error_code error;
  const std::string file = fs::absolute(configuration.file, error).string();
  ControlGroups groups(delegatedControlGroup(), {::getpid(), ::getppid()});
  ForkLauncher launcher(worker, programFolders(worker, configuration.plugins), groups);
  Spawner spawner(ControlSocket(std::move(socket), Sender::Starter), launcher, configuration,
                  surroundings,
                  [file, &surroundings] { return configurationText(file, surroundings.isRoot); });
  pollfd waiting[] = {{spawner.fd(), POLLIN, 0}, {signals.get(), POLLIN, 0}};
  for (;;) {
    if (::poll(waiting, 2, -1) < 0 && errno != EINTR) break;
    if (waiting[1].revents) forgetSignals(signals.get());
    if (waiting[1].revents) spawner.reap();
    if (waiting[0].revents && !spawner.obey()) break;
  }
  spawner.hangUp();
  endWorkers(spawner, signals.get());
  return 0;
}

[[noreturn]] void runAsSpawner(tls::UniqueFd socket, const Configuration& configuration,
                               const Surroundings& surroundings, const std::string& worker) {
  int status = 1;
  try {
    status = spawnerMain(std::move(socket), configuration, surroundings, worker);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hoqd: the spawner ends: %s\n", error.what());
  }
  ::_exit(status);
}

}  // namespace

tls::Result<SpawnerProcess> startSpawner(const Configuration& configuration,
                                         const Surroundings& surroundings,
                                         const std::string& worker) {
  const auto failure = [](const char* what, int error) {
    return tls::Error{tls::ErrorKind::kSystem,
                      std::string(what) + ": " + std::generic_category().message(error)};
  };
  auto [fronts, spawners] = ControlSocket::pair();
  if (!fronts) return failure("cannot make a socket for the spawner", errno);
  if (::fcntl(fronts.get(), F_SETFL, O_NONBLOCK) != 0) return failure("fcntl", errno);
  const pid_t child = ::fork();
  const int error = errno;
  if (child < 0) return failure("cannot make the spawner", error);
  if (child == 0) {
    fronts.reset();
    runAsSpawner(std::move(spawners), configuration, surroundings, worker);
  }
  return SpawnerProcess{child, std::move(fronts)};
}

std::string findWorkerProgram() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  for (const char* place : kPlaces) {
    const fs::path found = fs::canonical(program.parent_path() / place, error);
    if (!error && fs::is_regular_file(found, error)) return found.string();
    error.clear();
  }
  return "";
}

}  // namespace HOQ::agent
