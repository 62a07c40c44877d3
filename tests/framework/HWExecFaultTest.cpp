// The executor in a process where something is missing. Each case runs in a process of its own.
#include <gtest/gtest.h>
#include <hoq/HWExec.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace HOQ {
namespace {

constexpr int kOut = GenExec::kStandardOutput;
enum Verdict { kAsExpected = 0, kSetUpFailed, kNotStarted, kWrongLine, kWrongEnd, kNoFault };

const char* const kPrint[] = {HOQ_EXEC_CHILD, "print", "text", nullptr};
const char* const kHang[] = {HOQ_EXEC_CHILD, "hang", nullptr};

void expectVerdict(Verdict (*run)()) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a sanitizer may have a thread of its own
  EXPECT_EXIT(std::_Exit(run()), testing::ExitedWithCode(kAsExpected), "");
}

// From here on the system call fails in this process, as in a kernel that has none.
bool forbid(unsigned int call) {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{sizeof program / sizeof *program, program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

Verdict printsText(HWExec& command) {
  if (command.exec(kOut, kPrint, nullptr) != 0) return kNotStarted;
  const char* const line = command.gets(kOut);
  return line != nullptr && std::strcmp(line, "text") == 0 ? kAsExpected : kWrongLine;
}

TEST(HWExecFault, CapturesOutputInAProcessWithoutStandardDescriptors) {
  expectVerdict([] {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) close(descriptor);
    HWExec command;
    if (const Verdict verdict = printsText(command)) return verdict;
    return command.wait() == 0 ? kAsExpected : kWrongEnd;
  });
}

TEST(HWExecFault, SaysThatNoDescriptorIsLeft) {
  expectVerdict([] {
    HWExec command;  // once with descriptors: the sanitizers want some when they see a class first
    if (const Verdict verdict = printsText(command)) return verdict;
    if (command.wait() != 0) return kWrongEnd;
    const rlimit none{0, 0};
    if (setrlimit(RLIMIT_NOFILE, &none) != 0) return kSetUpFailed;
    if (command.exec(kOut, kPrint, nullptr) != EMFILE) return kNoFault;
    return command.gets(kOut) == nullptr && command.wait() == -1 ? kAsExpected : kWrongEnd;
  });
}

TEST(HWExecFault, KillsAtOnceWhereTheKernelCannotWaitForACommand) {
  expectVerdict([] {
    if (!forbid(SYS_pidfd_open)) return kSetUpFailed;
    if (syscall(SYS_pidfd_open, getpid(), 0) != -1 || errno != ENOSYS) return kNoFault;
    HWExec command;
    if (command.exec(kOut, kHang, nullptr) != 0) return kNotStarted;
    if (command.gets(kOut) == nullptr) return kWrongLine;
    const int status = command.wait();
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL ? kAsExpected : kWrongEnd;
  });
}

TEST(HWExecFault, StartsCommandsWhereTheKernelCannotCloseDescriptorsAtOnce) {
  expectVerdict([] {
    if (!forbid(SYS_close_range)) return kSetUpFailed;
    if (syscall(SYS_close_range, 1000, 1001, 0) != -1 || errno != ENOSYS) return kNoFault;
    HWExec command;
    if (const Verdict verdict = printsText(command)) return verdict;
    return command.wait() == 0 ? kAsExpected : kWrongEnd;
  });
}

TEST(HWExecFault, HasNoStatusToGiveWhereChildrenAreNotWaitedFor) {
  expectVerdict([] {
    if (signal(SIGCHLD, SIG_IGN) == SIG_ERR) return kSetUpFailed;
    HWExec command;
    if (const Verdict verdict = printsText(command)) return verdict;
    return command.wait() == -1 ? kAsExpected : kWrongEnd;
  });
}

}  // namespace
}  // namespace HOQ
