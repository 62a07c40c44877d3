#include "front/SpawnStarter.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <vector>

#include "control/ControlSocket.h"
#include "control/WorkerProcess.h"

namespace HOQ::agent {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPlaces[] = {"hoq-worker", "../libexec/hoq/hoq-worker",
                                   "../" HOQ_INSTALL_LIBEXECDIR "/hoq/hoq-worker"};

tls::Error failure(const std::string& what, int error) {
  return {tls::ErrorKind::kSystem, what + ": " + std::generic_category().message(error)};
}

/// What the child inherits: its end of the control socket, standard error, and nothing else.
class FileActions {
 public:
  explicit FileActions(int control) {
    (void)::posix_spawn_file_actions_init(&actions_);  // fails in no system library in use
    error_ = ::posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    if (!error_) error_ = ::posix_spawn_file_actions_adddup2(&actions_, 2, 1);
    if (!error_) error_ = ::posix_spawn_file_actions_adddup2(&actions_, control, kControlFd);
    if (!error_) error_ = ::posix_spawn_file_actions_addclosefrom_np(&actions_, kControlFd + 1);
  }
  ~FileActions() { (void)::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  int error() const { return error_; }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
  int error_ = 0;
};

/// A process group of its own, so that a terminal's interrupt reaches the front alone, and signals
/// as a fresh process has them.
class Attributes {
 public:
  Attributes() {
    sigset_t none;
    sigset_t all;
    (void)::sigemptyset(&none);
    (void)::sigfillset(&all);
    (void)::posix_spawnattr_init(&attributes_);
    (void)::posix_spawnattr_setpgroup(&attributes_, 0);
    (void)::posix_spawnattr_setsigmask(&attributes_, &none);
    (void)::posix_spawnattr_setsigdefault(&attributes_, &all);
    (void)::posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~Attributes() { (void)::posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

std::string howEnded(int status) {
  if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::string SpawnStarter::findProgram() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  for (const char* place : kPlaces) {
    const fs::path found = program.parent_path() / place;
    if (!error && fs::is_regular_file(found, error)) return found.string();
    error.clear();
  }
  return "";
}

tls::Result<WorkerStarter::Started> SpawnStarter::start(const std::string& entry) {
  auto [ours, theirs] = ControlSocket::pair();
  if (!ours) return failure("cannot make a socket for a worker", errno);
  if (::fcntl(ours.get(), F_SETFL, O_NONBLOCK) != 0) return failure("fcntl", errno);
  const FileActions actions(theirs.get());
  if (actions.error()) return failure("cannot start " + program_, actions.error());
  std::string name = "hoq-worker";
  std::string client = entry.empty() ? "(unknown)" : entry;  // for those who read ps(1)
  char* arguments[] = {name.data(), client.data(), nullptr};
  pid_t pid = 0;
  const int error =
      ::posix_spawn(&pid, program_.c_str(), actions.get(), Attributes().get(), arguments, environ);
  if (error) return failure("cannot start " + program_, error);
  children_.insert(pid);
  return Started{pid, std::move(ours)};
}

void SpawnStarter::kill(pid_t pid) {
  if (children_.count(pid)) (void)::kill(pid, SIGKILL);  // it is ours and not reaped: it is there
}

void SpawnStarter::reap(const std::function<void(pid_t, const std::string&)>& ended) {
  std::vector<std::pair<pid_t, int>> found;
  for (const pid_t pid : children_) {
    int status = 0;
    if (::waitpid(pid, &status, WNOHANG) == pid) found.emplace_back(pid, status);
  }
  for (const auto& [pid, status] : found) {
    children_.erase(pid);
    ended(pid, howEnded(status));
  }
}

}  // namespace HOQ::agent
