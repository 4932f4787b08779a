// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <utility>

#include "platform/Files.h"

namespace vaultmere {
namespace {

/// A killed process that isn't over by then hangs in the kernel.
constexpr std::chrono::milliseconds kEndTimeout{1000};

/// What posix_spawn(3) is told. Throws FileError for each failure.
class SpawnPlan {
 public:
  explicit SpawnPlan(const std::filesystem::path& program) : program_(program) {
    check(::posix_spawn_file_actions_init(&actions_));
    check(::posix_spawnattr_init(&attributes_));
  }
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  void inheritOnly(int descriptor) {
    for (int standard = 0; standard < ChildProcess::kDescriptor; ++standard) {
      check(::posix_spawn_file_actions_addopen(&actions_, standard, "/dev/null", O_RDWR, 0));
    }
    check(::posix_spawn_file_actions_adddup2(&actions_, descriptor, ChildProcess::kDescriptor));
    check(::posix_spawn_file_actions_addclosefrom_np(&actions_, ChildProcess::kDescriptor + 1));
    check(::posix_spawn_file_actions_addchdir_np(&actions_, "/"));
  }

  void startAfresh() {
    sigset_t signals;
    ::sigemptyset(&signals);
    check(::posix_spawnattr_setsigmask(&attributes_, &signals));
    ::sigfillset(&signals);
    check(::posix_spawnattr_setsigdefault(&attributes_, &signals));
    check(::posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID));
  }

  [[nodiscard]] pid_t run(const ChildProcess::Options& options) const {
    std::string name = program_.native();
    std::vector<std::string> arguments = options.arguments;
    std::vector<std::string> environment = options.environment;
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 2);
    argv.push_back(name.data());
    for (std::string& argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    std::vector<char*> envp;
    envp.reserve(environment.size() + 1);
    for (std::string& variable : environment) {
      envp.push_back(variable.data());
    }
    envp.push_back(nullptr);
    pid_t id = -1;
    check(::posix_spawn(&id, name.c_str(), &actions_, &attributes_, argv.data(), envp.data()));
    return id;
  }

 private:
  void check(int code) const {
    if (code != 0) {
      throw FileError("start", program_, code);
    }
  }

  const std::filesystem::path& program_;
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

}  // namespace

ChildProcess::ChildProcess(const Options& options) {
  // Above those that are opened anew before it is put in its place.
  const Descriptor inherited(
      ::fcntl(options.descriptor, F_DUPFD_CLOEXEC, ChildProcess::kDescriptor + 1));
  if (inherited.get() < 0) {
    throw FileError("start", options.program, errno);
  }
  SpawnPlan plan(options.program);
  plan.inheritOnly(inherited.get());
  plan.startAfresh();
  id_ = plan.run(options);
  handle_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)));
  if (handle_.get() < 0) {
    const int error = errno;
    kill();
    while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
    }
    throw FileError("start", options.program, error);
  }
}

ChildProcess::~ChildProcess() {
  kill();
  static_cast<void>(wait(kEndTimeout));
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : id_(std::exchange(other.id_, -1)),
      handle_(std::move(other.handle_)),
      end_(std::exchange(other.end_, {})) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  std::swap(id_, other.id_);
  std::swap(handle_, other.handle_);
  std::swap(end_, other.end_);
  return *this;
}

void ChildProcess::kill() noexcept {
  if (id_ > 0) {
    ::kill(id_, SIGKILL);
  }
}

std::optional<ProcessEnd> ChildProcess::wait(std::chrono::milliseconds timeout) {
  if (id_ < 0) {
    return end_;
  }
  pollfd watched{handle_.get(), POLLIN, 0};
  const auto until = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    const int ready =
        ::poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(0, left.count())));
    if (ready == 0) {
      return std::nullopt;
    }
    if (ready > 0 || errno != EINTR) {
      break;
    }
  }
  int status = 0;
  pid_t ended = -1;
  do {
    ended = ::waitpid(id_, &status, WNOHANG);
  } while (ended < 0 && errno == EINTR);
  if (ended == 0) {
    return std::nullopt;
  }
  id_ = -1;
  end_ = WIFSIGNALED(status) ? ProcessEnd{WTERMSIG(status), 0} : ProcessEnd{0, WEXITSTATUS(status)};
  return end_;
}

std::size_t ChildProcess::residentBytes() const {
  std::size_t whole = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/" + std::to_string(id_) + "/statm") >> whole >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace vaultmere
