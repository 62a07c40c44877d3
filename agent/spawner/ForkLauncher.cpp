#include "spawner/ForkLauncher.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <system_error>
#include <utility>

#include "spawner/WorkerBirth.h"

namespace HOQ::agent {
namespace {

std::string howEnded(int status) {
  if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

ForkLauncher::~ForkLauncher() {
  for (const auto& [pid, group] : children_) groups_.end(group);
  children_.clear();  // they are strays now
  do {
    endStrays();
  } while (::waitpid(-1, nullptr, 0) > 0 || errno == EINTR);
}

tls::Result<pid_t> ForkLauncher::launch(const WorkerPlan& plan, int control) {
  const std::string group = groups_.make(plan);
  const pid_t parent = ::getpid();
  const pid_t child = ::fork();
  const int error = errno;
  if (child == 0) becomeWorker(plan, control, program_, folders_, group, parent);
  if (child < 0) {
    groups_.end(group);
    return tls::Error{tls::ErrorKind::kSystem, std::generic_category().message(error)};
  }
  // Both do it, so that the group is there whoever comes first.
  (void)::setpgid(child, child);
  children_[child] = group;
  return child;
}

void ForkLauncher::kill(pid_t pid) {
  if (children_.count(pid) == 0) return;  // it may be somebody else's by now
  (void)::kill(-pid, SIGKILL);
  (void)::kill(pid, SIGKILL);  // before it had a group
}

void ForkLauncher::reap(const std::function<void(pid_t, const std::string&)>& ended) {
  std::vector<std::pair<pid_t, int>> found;
  int status = 0;
  for (pid_t pid; (pid = ::waitpid(-1, &status, WNOHANG)) > 0;) found.emplace_back(pid, status);
  for (const auto& [pid, how] : found) {
    if (children_.count(pid) == 0) continue;  // a stray
    (void)::kill(-pid, SIGKILL);              // what is left of its group
    groups_.end(children_[pid]);
    children_.erase(pid);
    ended(pid, howEnded(how));
  }
  if (!found.empty()) endStrays();
  groups_.sweep();
}

/// Processes that a worker started in groups of their own, and did not live to see the end of.
void ForkLauncher::endStrays() {
  std::ifstream list("/proc/self/task/" + std::to_string(::getpid()) + "/children");
  for (pid_t pid; list >> pid;) {
    if (children_.count(pid) == 0) (void)::kill(pid, SIGKILL);
  }
}

}  // namespace HOQ::agent
