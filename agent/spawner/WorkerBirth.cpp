#include "spawner/WorkerBirth.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <system_error>

#include <hoq/HOQIdentity.h>

#include "control/ControlSocket.h"
#include "control/WorkerProcess.h"
#include "spawner/Confinement.h"
#include "spawner/ControlGroups.h"
#include "spawner/SystemCallFilter.h"

namespace HOQ::agent {
namespace {

/// What a worker's environment keeps of the daemon's, which may hold what is none of its business.
constexpr const char* kKept[] = {"LANG",         "LC_ALL",       "LC_CTYPE",
                                 "LC_MESSAGES",  "TZ",           "ASAN_OPTIONS",
                                 "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"};
constexpr char kPath[] = "PATH=/usr/local/bin:/usr/bin:/bin";

/// What root's worker keeps of root's rights: those over files. The first of them also where it is
/// confined; with the others it could find files by their numbers, or make devices.
constexpr int kConfinedCapabilities[] = {CAP_CHOWN, CAP_DAC_OVERRIDE, CAP_FOWNER, CAP_FSETID};
constexpr int kOpenCapabilities[] = {CAP_DAC_READ_SEARCH, CAP_MKNOD};

std::string failure(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

/// A process group of its own, so that a terminal's interrupt reaches the front alone and all of
/// the worker can be ended together, and signals as a fresh process has them.
std::string startAfresh() {
  if (::setpgid(0, 0) != 0) return failure("process group", errno);
  for (int signal = 1; signal < NSIG; ++signal) (void)std::signal(signal, SIG_DFL);
  sigset_t none;
  (void)::sigemptyset(&none);
  (void)::sigprocmask(SIG_SETMASK, &none, nullptr);  // fails for bad arguments only
  return ::chdir("/") == 0 ? "" : failure("working directory", errno);
}

/// Leaves the control socket, the log's standard error, and nothing else.
std::string keepDescriptors(int control) {
  const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  // Above all that are filled here, so that none is overwritten before it is copied.
  const int safe = ::fcntl(control, F_DUPFD_CLOEXEC, kControlFd + 1);
  if (null < 0 || safe < 0) return failure("descriptors", errno);
  if (::dup2(null, STDIN_FILENO) < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0 ||
      ::dup2(safe, kControlFd) < 0 || ::close_range(kControlFd + 1, ~0U, 0) != 0) {
    return failure("descriptors", errno);
  }
  return "";
}

std::string limit(__rlimit_resource resource, rlim_t value, const char* name) {
  rlimit both{value, value};
  rlimit before{};
  // Without root's rights a limit can only become narrower.
  if (::getrlimit(resource, &before) == 0 && ::geteuid() != 0 && before.rlim_max < value) {
    both = {before.rlim_max, before.rlim_max};
  }
  return ::setrlimit(resource, &both) == 0 ? "" : failure(name, errno);
}

std::string setLimits(const WorkerPlan& plan) {
  std::string why = limit(RLIMIT_CORE, 0, "limit of core files");
  if (why.empty()) why = limit(RLIMIT_NOFILE, plan.descriptors, "limit of descriptors");
  if (why.empty() && plan.memoryMib != 0) {
    why = limit(RLIMIT_AS, rlim_t{plan.memoryMib} << 20, "limit of memory");
  }
  return why;
}

/// Takes from what root's programs can have all that has nothing to do with files. The last of
/// them is found out by asking for one too many.
std::string narrowRoot(bool isConfined) {
  const auto kept = [isConfined](int capability) {
    for (const int each : kConfinedCapabilities) {
      if (each == capability) return true;
    }
    for (const int each : kOpenCapabilities) {
      if (each == capability) return !isConfined;
    }
    return false;
  };
  for (int capability = 0; ::prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
    if (!kept(capability) && ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) {
      return failure("root's rights", errno);
    }
  }
  return "";
}

std::string takeOn(const HOQUserCredentials& identity, bool isConfined) {
  if (identity.uid == 0) {
    if (std::string why = narrowRoot(isConfined); !why.empty()) return why;
  }
  if (takeIdentity(identity) != 0) return failure("identity", errno);
  const std::string why = whyNotOnly(identity);
  return why.empty() ? "" : "identity: " + why;
}

/// The worker ends with its parent. The system forgets such a wish when the identity changes, and
/// a parent that ended before it is not told.
std::string endWith(pid_t parent) {
  if (::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) != 0) return failure("end", errno);
  return ::getppid() == parent ? "" : "the spawner has ended";
}

std::string rightsText(const WorkerPlan& plan) {
  std::string text = plan.mayRead ? "read" : "";
  if (plan.mayChange) text += text.empty() ? "change" : ",change";
  return text.empty() ? "none" : text;
}

std::string execute(const WorkerPlan& plan, const std::string& program) {
  std::vector<std::string> environment = {kPath};
  for (const char* name : kKept) {
    if (const char* value = std::getenv(name))
      environment.push_back(std::string(name) + "=" + value);
  }
  std::vector<std::string> arguments = {"hoq-worker", plan.client, rightsText(plan)};
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  };
  (void)::execve(program.c_str(), pointers(arguments).data(), pointers(environment).data());
  return failure("cannot execute " + program, errno);
}

/// Returns only with what went wrong.
std::string become(const WorkerPlan& plan, int control, const std::string& program,
                   const std::vector<std::string>& folders, const std::string& group,
                   pid_t parent) {
  std::string why = startAfresh();
  if (why.empty() && !group.empty()) why = enterControlGroup(group);
  if (why.empty()) why = keepDescriptors(control);
  if (why.empty()) why = setLimits(plan);
  (void)::umask(plan.umask);
  const bool isConfined = !plan.roots.empty();
  if (why.empty() && isConfined) why = confine({plan.roots, !plan.mayChange, folders});
  if (why.empty() && plan.identity) why = takeOn(*plan.identity, isConfined);
  if (why.empty()) why = endWith(parent);
  if (why.empty()) why = giveUp(SystemCalls::OfWorker);
  return why.empty() ? execute(plan, program) : why;
}

}  // namespace

void becomeWorker(const WorkerPlan& plan, int control, const std::string& program,
                  const std::vector<std::string>& folders, const std::string& group, pid_t parent) {
  std::string why;
  try {
    why = become(plan, control, program, folders, group, parent);
  } catch (const std::exception& error) {
    why = error.what();
  }
  // Its own end is there before and after the descriptors were put in order.
  const int end = ::fcntl(kControlFd, F_GETFD) >= 0 && ::close_range(kControlFd + 1, ~0U, 0) == 0
                      ? kControlFd
                      : control;
  ControlSocket socket(tls::UniqueFd(end), Sender::Front);
  (void)socket.send(Log{LogLevel::Error, "not started: " + why});
  ::_exit(1);
}

}  // namespace HOQ::agent
