// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/Sandbox.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "media/worker/Landlock.h"
#include "media/worker/SystemCallFilter.h"
#include "platform/Descriptor.h"
#include "platform/Sanitizer.h"

namespace vaultmere {
namespace {

constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;
constexpr std::uint64_t kMostData = 3072 * kMebibyte;
constexpr std::uint64_t kLeastData = 768 * kMebibyte;

template <typename Result>
void require(const char* what, Result result) {
  if (result == -1) {
    throw std::system_error(errno, std::generic_category(), std::string("sandbox: ") + what);
  }
}

/// Lowers a limit for good; one that is lower already stays.
template <typename Resource>
void limit(const char* what, Resource resource, std::uint64_t value) {
  struct rlimit now {};
  require(what, ::getrlimit(resource, &now));
  const rlim_t most = std::min<rlim_t>(now.rlim_max, value);
  const struct rlimit wanted { most, most };
  require(what, ::setrlimit(resource, &wanted));
}

/// The system's first choice when memory runs out, instead of the main program or
/// the user's other ones. Without it the kernel decides by size.
void offerToMemoryKiller() {
  const Descriptor file(::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
  constexpr std::string_view kFirst = "1000";
  if (file.get() != -1) {
    static_cast<void>(!::write(file.get(), kFirst.data(), kFirst.size()));
  }
}

void runInBackground() {
  const sched_param none{};
  require("SCHED_IDLE", ::sched_setscheduler(0, SCHED_IDLE, &none));
  constexpr int kLowest = 19;
  require("nice", ::setpriority(PRIO_PROCESS, 0, kLowest));
  // The kernel's header of these is for C alone.
  constexpr int kWhoProcess = 1;  // IOPRIO_WHO_PROCESS
  constexpr int kIdle = 3 << 13;  // IOPRIO_CLASS_IDLE
  require("ioprio_set", ::syscall(SYS_ioprio_set, kWhoProcess, 0, kIdle));
}

void limitResources(const SandboxOptions& options) {
  // A file that grows too large gives an error instead of a signal.
  require("SIGXFSZ", std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR ? -1 : 0);
  limit("RLIMIT_CORE", RLIMIT_CORE, 0);
  limit("RLIMIT_NOFILE", RLIMIT_NOFILE, options.maxOpenFiles);
  limit("RLIMIT_FSIZE", RLIMIT_FSIZE, options.maxFileSize);
  limit("RLIMIT_MEMLOCK", RLIMIT_MEMLOCK, 0);
  if (!kHasSanitizer) {
    limit("RLIMIT_DATA", RLIMIT_DATA, options.maxData);
    limit("RLIMIT_AS", RLIMIT_AS, options.maxAddressSpace);
  }
}

void dropPrivileges() {
  require("PR_SET_NO_NEW_PRIVS", ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0));
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
  require("capset", ::syscall(SYS_capset, &header, none.data()));
  require("PR_SET_DUMPABLE", ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0));
}

int countOtherThreads() {
  if (kHasSanitizer) {
    return 0;  // the runtime may have one of its own
  }
  std::error_code error;
  const std::filesystem::directory_iterator tasks("/proc/self/task", error);
  const auto count = error ? 1 : std::distance(begin(tasks), end(tasks));
  return static_cast<int>(count) - 1;
}

}  // namespace

std::uint64_t defaultMaxData() {
  const auto pages = static_cast<std::uint64_t>(std::max(::sysconf(_SC_PHYS_PAGES), 0L));
  const auto half = pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) / 2;
  return std::clamp(half, kLeastData, kMostData);
}

std::string SandboxReport::gaps() const {
  std::string text;
  const auto add = [&text](std::string_view gap) {
    text += text.empty() ? "decoders aren't confined in full: " : "; ";
    text += gap;
  };
  if (landlockAbi == 0) {
    add("the kernel has no Landlock, so they may read the user's files");
  }
  if (!isSeccompOn) {
    add("the kernel has no seccomp filters, so they may make any system call");
  }
  if (earlierThreads > 0) {
    add(std::to_string(earlierThreads) + " of their threads began too early for Landlock");
  }
  return text;
}

SandboxReport lockIn(const SandboxOptions& options) {
  SandboxReport report;
  report.earlierThreads = countOtherThreads();
  report.isDataBounded = !kHasSanitizer;
  offerToMemoryKiller();  // once the process isn't dumpable, the file is root's
  if (options.isBackground) {
    runInBackground();
  }
  limitResources(options);
  dropPrivileges();
  report.landlockAbi = restrictFiles(options.readable);
  report.isSeccompOn = filterSystemCalls();
  return report;
}

}  // namespace vaultmere
