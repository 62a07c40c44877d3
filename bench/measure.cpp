// hoq_bench_measure FD TIMES COMMAND [ARGUMENTS...]
//
// Runs a command TIMES times and writes one line for each run to descriptor FD: wall, user and
// system time in nanoseconds, peak memory in KiB, and the status (128 + the signal when killed).
//
// A program of its own, and a small one, because the kernel charges a child with the peak memory
// of the process that it was forked from.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kCannotMeasure = 125;

int complain(const char* what) {
  std::fprintf(stderr, "hoq_bench_measure: %s: %s\n", what, std::strerror(errno));
  return kCannotMeasure;
}

long long nanoseconds(const timeval& time) {
  return time.tv_sec * 1'000'000'000LL + time.tv_usec * 1'000LL;
}

/// 0, or the exit status of this program: without a measurement there is nothing to write.
int measureOnce(int results, char** command) {
  const auto started = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child < 0) return complain("fork");
  if (child == 0) {
    execvp(command[0], command);
    _exit(complain(command[0]));
  }
  int status = 0;
  rusage used{};
  if (wait4(child, &status, 0, &used) != child) return complain("wait4");
  const std::chrono::nanoseconds wall = std::chrono::steady_clock::now() - started;
  const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  if (code == kCannotMeasure) return kCannotMeasure;
  dprintf(results, "%lld %lld %lld %ld %d\n", static_cast<long long>(wall.count()),
          nanoseconds(used.ru_utime), nanoseconds(used.ru_stime), used.ru_maxrss, code);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("usage: hoq_bench_measure FD TIMES COMMAND [ARGUMENTS...]\n", stderr);
    return 2;
  }
  const int results = std::atoi(argv[1]);
  if (fcntl(results, F_SETFD, FD_CLOEXEC) != 0) return complain("the descriptor for results");
  for (int times = std::atoi(argv[2]); times > 0; --times) {
    const int failed = measureOnce(results, argv + 3);
    if (failed != 0) return failed;
  }
  return 0;
}
