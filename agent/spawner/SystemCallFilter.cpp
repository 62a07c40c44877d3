#include "spawner/SystemCallFilter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <system_error>
#include <vector>

namespace HOQ::agent {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The leak checker stops its own process with ptrace(2), from a process that it makes, and runtimes
// may ask for fixed addresses.
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

#if defined(__x86_64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t kArchitecture = 0;  // no filter is known for this machine
#endif

/// Calls of the other way to name them on x86-64 have this bit.
constexpr std::uint32_t kX32Bit = 0x40000000;

// A list of what is denied, not of what is allowed: libraries take new calls into use, and a filter
// that breaks them in the field would be turned off. What matters is that the doors to other
// processes, to other identities and to the kernel's insides are shut.
constexpr int kOfAll[] = {
    SYS_process_vm_readv,
    SYS_process_vm_writev,
    SYS_kcmp,
    SYS_mount,
    SYS_umount2,
    SYS_pivot_root,
    SYS_chroot,
    SYS_unshare,
    SYS_setns,
    SYS_setuid,
    SYS_setgid,
    SYS_setreuid,
    SYS_setregid,
    SYS_setresuid,
    SYS_setresgid,
    SYS_setgroups,
    SYS_setfsuid,
    SYS_setfsgid,
    SYS_capset,
    SYS_init_module,
    SYS_finit_module,
    SYS_delete_module,
    SYS_kexec_load,
    SYS_reboot,
    SYS_swapon,
    SYS_swapoff,
    SYS_acct,
    SYS_quotactl,
    SYS_syslog,
    SYS_sethostname,
    SYS_setdomainname,
    SYS_settimeofday,
    SYS_clock_settime,
    SYS_adjtimex,
    SYS_clock_adjtime,
    SYS_vhangup,
    SYS_add_key,
    SYS_request_key,
    SYS_keyctl,
    SYS_bpf,
    SYS_perf_event_open,
    SYS_userfaultfd,
    SYS_open_by_handle_at,
    SYS_lookup_dcookie,
#ifdef SYS_kexec_file_load
    SYS_kexec_file_load,
#endif
#ifdef SYS_iopl
    SYS_iopl,
    SYS_ioperm,
    SYS_modify_ldt,
#endif
#ifdef SYS_pidfd_getfd
    SYS_pidfd_getfd,
#endif
#ifdef SYS_open_tree
    SYS_open_tree,
    SYS_move_mount,
    SYS_fsopen,
    SYS_fsconfig,
    SYS_fsmount,
    SYS_fspick,
#endif
#ifdef SYS_mount_setattr
    SYS_mount_setattr,
#endif
    SYS_io_setup,
    SYS_io_submit,
#ifdef SYS_io_uring_setup
    SYS_io_uring_setup,
    SYS_io_uring_enter,
    SYS_io_uring_register,
#endif
};

constexpr int kOfFront[] = {
    SYS_execve,
    SYS_execveat,
#ifdef SYS_fork
    SYS_fork,
    SYS_vfork,
#endif
};

class Program {
 public:
  Program() {
    load(offsetof(seccomp_data, arch));
    add(BPF_JMP | BPF_JEQ | BPF_K, kArchitecture, 1, 0);
    answer(SECCOMP_RET_KILL_PROCESS);
    load(offsetof(seccomp_data, nr));
#if defined(__x86_64__)
    add(BPF_JMP | BPF_JGE | BPF_K, kX32Bit, 0, 1);
    answer(kDenied);
#endif
  }

  void deny(int call, std::uint32_t how = kDenied) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1);
    answer(how);
  }

  /// Threads may be made, processes not. clone3(2) keeps its flags where no filter sees them; its
  /// callers go back to clone(2) where it is missing.
  void denyProcesses() {
    deny(SYS_clone3, SECCOMP_RET_ERRNO | ENOSYS);
    add(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 4);
    load(offsetof(seccomp_data, args));  // the flags' lower half
    add(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 1, 0);
    answer(kDenied);
    answer(SECCOMP_RET_ALLOW);
  }

  /// The kernel keeps a copy. 0, or an error number.
  int install() {
    answer(SECCOMP_RET_ALLOW);
    sock_fprog program{static_cast<unsigned short>(code_.size()), code_.data()};
    return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 ? 0 : errno;
  }

 private:
  static constexpr std::uint32_t kDenied = SECCOMP_RET_ERRNO | EPERM;

  void load(std::size_t offset) {
    add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset), 0, 0);
  }
  void answer(std::uint32_t value) { add(BPF_RET | BPF_K, value, 0, 0); }
  void add(int code, std::uint32_t value, int ifTrue, int ifFalse) {
    code_.push_back({static_cast<std::uint16_t>(code), static_cast<std::uint8_t>(ifTrue),
                     static_cast<std::uint8_t>(ifFalse), value});
  }

  std::vector<sock_filter> code_;
};

std::string failure(const char* what, int error) {
  return std::string(what) + ": " + std::generic_category().message(error);
}

}  // namespace

std::string giveUp(SystemCalls calls) {
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return failure("no_new_privs", errno);
  if (kArchitecture == 0) return "";
  Program program;
  for (const int call : kOfAll) program.deny(call);
  if (!kSanitized) {
    program.deny(SYS_ptrace);
    program.deny(SYS_personality);
  }
  if (calls == SystemCalls::OfFront) {
    for (const int call : kOfFront) program.deny(call);
    if (!kSanitized) program.denyProcesses();
  }
  const int error = program.install();
  return error == 0 || error == EINVAL ? "" : failure("system call filter", error);
}

}  // namespace HOQ::agent
