// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/SystemCallFilter.h"

#include <fcntl.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "platform/Sanitizer.h"

namespace vaultmere {
namespace {

/// Calls without any condition.
constexpr const char* kAllowed[] = {
    // Memory. Executable memory is needed for libraries, and for the vector code
    // that libvips compiles at run time.
    "brk", "mmap", "munmap", "mremap", "mprotect", "madvise", "mincore",
    // Reading what is open already, and looking at paths.
    "read", "readv", "pread64", "preadv", "lseek", "_llseek", "close", "dup", "fstat", "fstat64",
    "newfstatat", "fstatat64", "stat", "stat64", "lstat", "lstat64", "statx", "fstatfs",
    "fstatfs64", "access", "faccessat", "faccessat2", "readlink", "readlinkat", "getdents64",
    "getcwd", "fadvise64", "fadvise64_64",
    // Files in memory, and what writes to them.
    "memfd_create", "ftruncate", "ftruncate64", "fallocate", "write", "writev", "pwrite64",
    "sendfile", "sendfile64",
    // The socket that was inherited: none can be made.
    "sendmsg", "recvmsg", "poll", "ppoll", "ppoll_time64",
    // Threads and their locks; signals within the process.
    "futex", "futex_time64", "set_robust_list", "rseq", "set_tid_address", "gettid", "exit",
    "exit_group", "eventfd2", "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "sigaltstack",
    "restart_syscall", "sched_yield", "sched_getaffinity", "sched_getattr", "sched_getparam",
    "sched_getscheduler", "sched_get_priority_max", "sched_get_priority_min", "getcpu",
    // Time.
    "clock_gettime", "clock_gettime64", "clock_getres", "clock_getres_time64", "clock_nanosleep",
    "clock_nanosleep_time64", "nanosleep", "gettimeofday", "time", "times",
    // What the process and its machine are.
    "getpid", "getppid", "getuid", "geteuid", "getgid", "getegid", "umask", "uname", "sysinfo",
    "getrusage", "getrandom"};

/// What a sanitizer's runtime needs more. The search for leaks stops the process
/// from a clone of it.
constexpr const char* kAllowedForSanitizer[] = {"clone",       "ptrace",  "wait4", "prctl",
                                                "pipe",        "pipe2",   "tkill", "ioctl",
                                                "personality", "getdents"};

/// Calls that no decoder makes: one of them means that a file has taken it over, and
/// ends the process.
constexpr const char* kForbidden[] = {
    // Reading, changing or copying from other processes.
    "ptrace", "process_vm_readv", "process_vm_writev", "process_madvise", "kcmp", "pidfd_getfd",
    // Code in the kernel, and the usual means against it.
    "bpf", "init_module", "finit_module", "delete_module", "kexec_load", "kexec_file_load",
    "userfaultfd", "perf_event_open", "iopl", "ioperm", "modify_ldt", "vmsplice",
    // Another view of the file system.
    "mount", "umount", "umount2", "pivot_root", "chroot", "open_tree", "move_mount", "fsopen",
    "fsconfig", "fsmount", "fspick", "mount_setattr", "open_by_handle_at", "unshare", "setns",
    // The kernel's store of keys.
    "keyctl", "add_key", "request_key",
    // Other users.
    "setuid", "setgid", "setreuid", "setregid", "setresuid", "setresgid", "setfsuid", "setfsgid",
    "setgroups", "capset",
    // The machine as a whole.
    "reboot", "swapon", "swapoff", "acct", "settimeofday", "clock_settime", "clock_settime64",
    "clock_adjtime", "clock_adjtime64", "adjtimex", "sethostname", "setdomainname", "syslog"};

/// Commands of fcntl. Those that would have the kernel send signals, take leases or
/// watch folders aren't among them.
constexpr int kFileCommands[] = {F_GETFD, F_SETFD,         F_GETFL,     F_SETFL,
                                 F_DUPFD, F_DUPFD_CLOEXEC, F_ADD_SEALS, F_GET_SEALS};

[[noreturn]] void fail(const std::string& what, int code) {
  throw std::system_error(code, std::generic_category(), "filter of system calls: " + what);
}

/// A filter that is being built.
class Filter {
 public:
  Filter() : context_(seccomp_init(SCMP_ACT_ERRNO(EPERM))) {
    if (!context_) {
      fail("make", ENOMEM);
    }
    set(SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
    set(SCMP_FLTATR_CTL_TSYNC, 1);
    set(SCMP_FLTATR_API_SYSRAWRC, 1);
  }

  /// Adds a rule for a call; all conditions hold together. A name that this system
  /// doesn't have is passed over.
  void add(std::uint32_t action, const char* call,
           std::initializer_list<scmp_arg_cmp> conditions = {}) {
    const int number = seccomp_syscall_resolve_name(call);
    if (number == __NR_SCMP_ERROR) {
      return;
    }
    const int result =
        seccomp_rule_add_array(context_.get(), action, number,
                               static_cast<unsigned>(conditions.size()), conditions.begin());
    if (result != 0) {
      fail(call, -result);
    }
  }

  void load() {
    if (const int result = seccomp_load(context_.get()); result != 0) {
      fail("load", result == -1 ? errno : -result);
    }
  }

 private:
  void set(scmp_filter_attr attribute, std::uint32_t value) {
    if (const int result = seccomp_attr_set(context_.get(), attribute, value); result != 0) {
      fail("attribute " + std::to_string(attribute), -result);
    }
  }

  struct Release {
    void operator()(void* context) const noexcept { seccomp_release(context); }
  };
  std::unique_ptr<void, Release> context_;
};

bool isSupported() {
  const std::uint32_t action = SECCOMP_RET_KILL_PROCESS;
  return ::syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

scmp_arg_cmp equal(unsigned argument, std::uint64_t value) {
  return {argument, SCMP_CMP_EQ, value, 0};
}
/// That the bits of `mask` are those of `value`.
scmp_arg_cmp bits(unsigned argument, std::uint64_t mask, std::uint64_t value) {
  return {argument, SCMP_CMP_MASKED_EQ, mask, value};
}

/// Opening for reading only. Which files that can be is Landlock's to say.
void addOpening(Filter& filter) {
  constexpr std::uint64_t kWriting = O_ACCMODE | O_CREAT | O_TRUNC;
  filter.add(SCMP_ACT_ALLOW, "open", {bits(1, kWriting, 0)});
  filter.add(SCMP_ACT_ALLOW, "openat", {bits(2, kWriting, 0)});
  filter.add(SCMP_ACT_ERRNO(ENOSYS), "openat2");  // its flags lie in memory
  for (const int command : kFileCommands) {
    const auto number = static_cast<std::uint64_t>(command);
    filter.add(SCMP_ACT_ALLOW, "fcntl", {equal(1, number)});
    filter.add(SCMP_ACT_ALLOW, "fcntl64", {equal(1, number)});
  }
}

/// Threads, but no processes; and a signal to the process itself, as `abort` sends.
void addThreads(Filter& filter) {
  filter.add(SCMP_ACT_ERRNO(ENOSYS), "clone3");  // the same; the C library takes clone
  filter.add(SCMP_ACT_ALLOW, "tgkill", {equal(0, static_cast<std::uint64_t>(::getpid()))});
  filter.add(SCMP_ACT_ALLOW, "prlimit64", {equal(0, 0), equal(2, 0)});  // asking only
  if (!kHasSanitizer) {
    constexpr std::uint64_t kKinds = CLONE_THREAD | CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS |
                                     CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET |
                                     CLONE_PTRACE;
    filter.add(SCMP_ACT_ALLOW, "clone", {bits(0, kKinds, CLONE_THREAD)});
    filter.add(SCMP_ACT_ALLOW, "prctl", {equal(0, PR_SET_NAME)});
    filter.add(SCMP_ACT_ALLOW, "prctl", {equal(0, PR_GET_NAME)});
  }
}

bool isForSanitizer(const std::string& call) {
  for (const char* other : kAllowedForSanitizer) {
    if (kHasSanitizer && call == other) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool filterSystemCalls() {
  if (!isSupported()) {
    return false;
  }
  Filter filter;
  for (const char* call : kAllowed) {
    filter.add(SCMP_ACT_ALLOW, call);
  }
  addOpening(filter);
  addThreads(filter);
  if (kHasSanitizer) {
    for (const char* call : kAllowedForSanitizer) {
      filter.add(SCMP_ACT_ALLOW, call);
    }
  }
  for (const char* call : kForbidden) {
    if (!isForSanitizer(call)) {
      filter.add(SCMP_ACT_KILL_PROCESS, call);
    }
  }
  filter.load();
  return true;
}

}  // namespace vaultmere
