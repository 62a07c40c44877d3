#include "support/Isolation.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "support/TempDir.h"

namespace HOQ::test {
namespace {

void* runBody(void* body) {
  (*static_cast<const std::function<void()>*>(body))();
  return nullptr;
}

int runHere(const std::function<void()>& body) {
  try {
    body();
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "The child's body threw: %s\n", problem.what());
    return 2;
  }
  std::fflush(stdout);
  return testing::Test::HasFailure() ? 1 : 0;
}

}  // namespace

std::string inChild(const std::function<void()>& body) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) return std::string("no child process: ") + std::strerror(errno);
  if (child == 0) {
    // The child reports on standard error: the outcome of the test is its parent's to print.
    dup2(STDERR_FILENO, STDOUT_FILENO);
    _exit(runHere(body));
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return std::string("lost the child: ") + std::strerror(errno);
  if (WIFSIGNALED(status)) return "the child died of signal " + std::to_string(WTERMSIG(status));
  if (WEXITSTATUS(status) != 0) return "expectations failed in the child, see its output";
  return "";
}

void inThreadWithStack(std::size_t bytes, const std::function<void()>& body) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  if (pthread_attr_setstacksize(&attributes, bytes) != 0)
    throw std::runtime_error("no thread has a stack of that size");
  pthread_t thread;
  // The body is only read: the cast is pthread_create's doing.
  void* const argument = const_cast<std::function<void()>*>(&body);
  const int error = pthread_create(&thread, &attributes, runBody, argument);
  pthread_attr_destroy(&attributes);
  if (error != 0) throw std::runtime_error(std::string("no thread: ") + std::strerror(error));
  pthread_join(thread, nullptr);
}

std::size_t stackFor(std::size_t bytes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return bytes * 4;  // frames hold red zones, and nothing shares a slot
#else
  return bytes;
#endif
}

UmaskGuard::UmaskGuard(mode_t mask) : before_(umask(mask)) {}
UmaskGuard::~UmaskGuard() { umask(before_); }

DescriptorLimit::DescriptorLimit(unsigned long limit) {
  rlimit now;
  getrlimit(RLIMIT_NOFILE, &now);
  before_ = now.rlim_cur;
  now.rlim_cur = limit;
  setrlimit(RLIMIT_NOFILE, &now);
}

DescriptorLimit::~DescriptorLimit() {
  rlimit now;
  getrlimit(RLIMIT_NOFILE, &now);
  now.rlim_cur = before_;
  setrlimit(RLIMIT_NOFILE, &now);
}

EnvironmentGuard::EnvironmentGuard(const char* name, const std::string& value) : name_(name) {
  if (const char* before = std::getenv(name)) {
    wasSet_ = true;
    before_ = before;
  }
  setenv(name, value.c_str(), 1);
}

EnvironmentGuard::~EnvironmentGuard() {
  if (wasSet_)
    setenv(name_.c_str(), before_.c_str(), 1);
  else
    unsetenv(name_.c_str());
}

std::string mountOwnFileSystem(const std::string& directory) {
  if (unshare(CLONE_NEWNS) != 0) return std::string("unshare: ") + std::strerror(errno);
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    return std::string("private mounts: ") + std::strerror(errno);
  if (mount("none", directory.c_str(), "tmpfs", 0, "size=1m") != 0)
    return std::string("mount: ") + std::strerror(errno);
  return "";
}

std::string whyNoMounts() {
  const TempDir place;
  const pid_t child = fork();
  if (child < 0) return std::string("no child process: ") + std::strerror(errno);
  if (child == 0) {
    const std::string problem = mountOwnFileSystem(place.path());
    _exit(problem.empty() ? 0 : (errno == 0 ? 255 : errno));
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return "lost the child that tries to mount";
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
  return std::string("a file system cannot be mounted: ") +
         (WIFEXITED(status) ? std::strerror(WEXITSTATUS(status)) : "the child died");
}

bool isRoot() { return geteuid() == 0; }

}  // namespace HOQ::test
