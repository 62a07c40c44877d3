#include <hoq/HWExec.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace HOQ {
namespace {

constexpr std::size_t kReadBytes = 4096;
constexpr int kFirstOtherDescriptor = STDERR_FILENO + 1;

// What a child is given: its three descriptors, a process group of its own, and signals as in a
// process that nobody has set up.
class SpawnSetup {
 public:
  SpawnSetup() {
    note(posix_spawn_file_actions_init(&actions_));
    note(posix_spawnattr_init(&attributes_));
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  // 0, or an error number.
  int prepare(int standardOutput) {
    // The output goes first: a process without standard descriptors gets a pipe in their place.
    note(posix_spawn_file_actions_adddup2(&actions_, standardOutput, STDOUT_FILENO));
    note(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    note(posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
    note(posix_spawn_file_actions_addclosefrom_np(&actions_, kFirstOtherDescriptor));

    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    note(posix_spawnattr_setsigmask(&attributes_, &none));
    note(posix_spawnattr_setsigdefault(&attributes_, &all));
    note(posix_spawnattr_setpgroup(&attributes_, 0));
    note(posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    return error_;
  }

  int spawn(pid_t* child, const char* const* argv, const char* const* environment) const {
    return posix_spawnp(child, argv[0], &actions_, &attributes_, const_cast<char* const*>(argv),
                        const_cast<char* const*>(environment));
  }

 private:
  void note(int error) {
    if (error_ == 0) error_ = error;
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
  int error_ = 0;
};

}  // namespace

HWExec::~HWExec() {
  closePipe();
  if (child_ >= 0) (void)reap(false);
}

int HWExec::exec(int stream, const char* const* argv, const ExecutionArgs* args) {
  if (child_ >= 0) return EBUSY;
  if (stream != kStandardOutput || argv == nullptr || argv[0] == nullptr) return EINVAL;
  limits_ = args != nullptr ? *args : ExecutionArgs();
  deadline_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(limits_.timeoutMs);
  unread_.clear();
  consumed_ = 0;
  std::vector<const char*> environment;
  if (environmentSaved_) {
    environment.reserve(environment_.size() + 1);
    for (const std::string& variable : environment_) environment.push_back(variable.c_str());
    environment.push_back(nullptr);
  }

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return errno;
  pid_t child = -1;
  SpawnSetup setup;
  int error = setup.prepare(ends[1]);
  if (error == 0)
    error = setup.spawn(&child, argv, environmentSaved_ ? environment.data() : environ);
  (void)close(ends[1]);  // the child's now; nothing was written here
  pipe_ = ends[0];
  if (error != 0)
    closePipe();
  else
    child_ = child;
  return error;
}

const char* HWExec::gets(int stream) {
  if (stream != kStandardOutput) return nullptr;
  line_.clear();
  bool begun = false;
  for (;;) {
    if (consumed_ == unread_.size()) {
      const Fill fill = fillBuffer();
      if (fill == Fill::kEnd && begun) return line_.c_str();
      if (fill != Fill::kBytes) return nullptr;
    }
    begun = true;
    const std::size_t lineBreak = unread_.find('\n', consumed_);
    const std::size_t end = std::min(lineBreak, unread_.size());
    line_.append(unread_, consumed_, std::min(end - consumed_, limits_.lineBytes - line_.size()));
    consumed_ = std::min(end + 1, unread_.size());
    if (lineBreak != std::string::npos) return line_.c_str();
  }
}

int HWExec::wait() {
  closePipe();  // a command that still writes ends by that
  return child_ >= 0 ? reap(awaitEnd()) : -1;
}

// Rounded up, so that a wait of this length does not end before the deadline.
int HWExec::remainingMs() const {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

HWExec::Fill HWExec::fillBuffer() {
  unread_.clear();
  consumed_ = 0;
  while (pipe_ >= 0) {
    pollfd readable{pipe_, POLLIN, 0};
    const int left = remainingMs();
    const int polled = left > 0 ? poll(&readable, 1, left) : 0;
    if (polled < 0 && errno == EINTR) continue;
    if (polled <= 0) return Fill::kFailed;
    unread_.resize(kReadBytes);
    const ssize_t got = read(pipe_, unread_.data(), kReadBytes);
    const int error = errno;
    unread_.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    if (got > 0) return Fill::kBytes;
    if (got == 0) {
      closePipe();
      return Fill::kEnd;
    }
    if (error != EINTR) return Fill::kFailed;
  }
  return Fill::kFailed;
}

void HWExec::closePipe() {
  if (pipe_ >= 0) (void)close(pipe_);  // only read from: there is nothing to lose
  pipe_ = -1;
}

// Whether the command ends before the deadline. A kernel that cannot wait for that says no at once.
bool HWExec::awaitEnd() const {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, child_, 0));
  if (handle < 0) return false;
  pollfd end{handle, POLLIN, 0};
  int polled;
  do {
    polled = poll(&end, 1, remainingMs());
  } while (polled < 0 && errno == EINTR);
  (void)close(handle);
  return polled > 0;
}

// Until waitpid() the child's number belongs to nobody else, even when the child has ended.
int HWExec::reap(bool ended) {
  (void)kill(-child_, SIGKILL);             // what is left of the group, if anything
  if (!ended) (void)kill(child_, SIGKILL);  // it may have moved to another group
  int status = -1;
  pid_t reaped;
  do {
    reaped = waitpid(child_, &status, 0);
  } while (reaped < 0 && errno == EINTR);
  child_ = -1;
  return reaped < 0 ? -1 : status;
}

}  // namespace HOQ
