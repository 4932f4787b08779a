// SPDX-License-Identifier: GPL-3.0-or-later
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "media/worker/Sandbox.h"
#include "platform/Descriptor.h"
#include "platform/Sanitizer.h"
#include "tests/sandbox/Confined.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

/// Gives 0, or the errno by which it has failed.
using Attempt = std::function<int()>;

int opening(const std::string& path, int flags) {
  return errnoOf(::open(path.c_str(), flags | O_CLOEXEC, 0600));
}

template <typename Address>
const sockaddr* generic(const Address& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

template <typename Address>
int connecting(const Address& address) {
  const Descriptor socket(::socket(generic(address)->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return errnoOf(socket.get() == -1 ? -1
                                    : ::connect(socket.get(), generic(address), sizeof address));
}

template <typename Address>
Descriptor listenerAt(const Address& address) {
  Descriptor socket(::socket(generic(address)->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(::bind(socket.get(), generic(address), sizeof address), 0);
  EXPECT_EQ(::listen(socket.get(), 8), 0);
  return socket;
}

/// What a decoder that has been taken over would like to reach.
class Sandbox : public ::testing::Test {
 protected:
  Sandbox() {
    writeText(file, "the user's");
    socklen_t size = sizeof tcp;
    EXPECT_EQ(::getsockname(tcpListener.get(), reinterpret_cast<sockaddr*>(&tcp), &size), 0);
  }

  static sockaddr_un localAddress(const std::string& name) {
    sockaddr_un address{AF_UNIX, {}};
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
  }

  TemporaryFolder folder;
  std::string file = (folder / "file").string();
  sockaddr_in tcp{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  sockaddr_un local = localAddress((folder / "socket").string());
  sockaddr_un abstract = localAddress('\0' + folder.path().string());
  Descriptor tcpListener = listenerAt(tcp);
  Descriptor localListener = listenerAt(local);
  Descriptor abstractListener = listenerAt(abstract);
};

/// Lets a system call fail, as on a kernel that doesn't have it.
void removeCall(const char* name) {
  const std::unique_ptr<void, void (*)(void*)> filter(seccomp_init(SCMP_ACT_ALLOW),
                                                      &seccomp_release);
  if (seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), seccomp_syscall_resolve_name(name),
                       0) != 0 ||
      seccomp_load(filter.get()) != 0) {
    throw std::runtime_error("no filter");
  }
}

/// Confined on a kernel that lacks a call, or lacks none.
std::string endingWithout(const char* call, const Attempt& attempt) {
  return endingOf([&] {
    if (call != nullptr) {
      removeCall(call);
    }
    const bool isComplete = lockIn().gaps().empty();
    return isComplete == (call == nullptr) ? attempt() : ENOTRECOVERABLE;
  });
}

/// 0 or below for none.
int landlockAbi() {
  return static_cast<int>(::syscall(SYS_landlock_create_ruleset, nullptr, 0, 1));
}

TEST_F(Sandbox, EachLayerKeepsDecodersFromTheRest) {
  constexpr int kAbiWithScopes = 6;
  if (landlockAbi() < kAbiWithScopes) {
    GTEST_SKIP() << "this kernel's Landlock is older than what the table says";
  }
  const pid_t test = ::getpid();
  const struct {
    const char* name;
    Attempt attempt;
    const char* both;
    const char* landlock;  // on a kernel without filters
    const char* filter;    // on a kernel without Landlock
  } rows[] = {
      {"read a file", [&] { return opening(file, O_RDONLY); }, "EACCES", "EACCES", "works"},
      {"read settings", [] { return opening("/etc/passwd", O_RDONLY); }, "EACCES", "EACCES",
       "works"},
      {"list a folder", [&] { return opening(folder.path(), O_RDONLY); }, "EACCES", "EACCES",
       "works"},
      {"write a file", [&] { return opening(file, O_WRONLY); }, "EPERM", "EACCES", "EPERM"},
      {"read and write", [&] { return opening(file, O_RDWR); }, "EPERM", "EACCES", "EPERM"},
      {"open to empty", [&] { return opening(file, O_TRUNC); }, "EPERM", "EACCES", "EPERM"},
      {"cut a file", [&] { return errnoOf(::truncate(file.c_str(), 1)); }, "EPERM", "EACCES",
       "EPERM"},
      {"make a file", [&] { return opening(folder / "new", O_CREAT); }, "EPERM", "EACCES", "EPERM"},
      {"make a nameless file", [&] { return opening(folder.path(), O_RDWR | O_TMPFILE); }, "EPERM",
       "EACCES", "EPERM"},
      {"make a folder", [&] { return errnoOf(::mkdir((folder / "new").c_str(), 0700)); }, "EPERM",
       "EACCES", "EPERM"},
      {"remove a file", [&] { return errnoOf(::unlink(file.c_str())); }, "EPERM", "EACCES",
       "EPERM"},
      {"run a program", [] { return errnoOf(::execl("/bin/true", "true", nullptr)); }, "EPERM",
       "EACCES", "EPERM"},
      {"connect by TCP", [&] { return connecting(tcp); }, "EPERM", "EACCES", "EPERM"},
      {"connect to an abstract socket", [&] { return connecting(abstract); }, "EPERM", "EPERM",
       "EPERM"},
      {"connect to a socket in a folder", [&] { return connecting(local); }, "EPERM", nullptr,
       "EPERM"},
      {"signal the parent", [&] { return errnoOf(::kill(test, SIGWINCH)); }, "EPERM", "EPERM",
       "EPERM"},
      {"signal a thread of the parent",
       [&] { return errnoOf(::syscall(SYS_tgkill, test, test, SIGWINCH)); }, "EPERM", "EPERM",
       "EPERM"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(endingWithout(nullptr, row.attempt), row.both) << row.name;
    if (row.landlock != nullptr) {
      EXPECT_EQ(endingWithout("seccomp", row.attempt), row.landlock) << row.name;
    }
    EXPECT_EQ(endingWithout("landlock_create_ruleset", row.attempt), row.filter) << row.name;
  }
  EXPECT_EQ(slurp(file), "the user's");
}

// MARK: Limits and other processes

int raisingLimit(__rlimit_resource resource) {
  const struct rlimit none { RLIM_INFINITY, RLIM_INFINITY };
  return errnoOf(::setrlimit(resource, &none));
}

int growingMemory(std::uint64_t size) {
  const Descriptor memory(::memfd_create("test", MFD_CLOEXEC));
  return errnoOf(memory.get() == -1 ? -1 : ::ftruncate(memory.get(), static_cast<off_t>(size)));
}

int mapping(std::size_t size, int protection) {
  void* const at = ::mmap(nullptr, size, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return at == MAP_FAILED ? errno : 0;
}

int duplicatingForever() {
  int got = 0;
  while (got != -1) {
    got = ::dup(STDIN_FILENO);
  }
  return errno;
}

TEST_F(Sandbox, LimitsHold) {
  const SandboxOptions options{.maxData = std::uint64_t{256} << 20,
                               .maxAddressSpace = std::uint64_t{4} << 30,
                               .maxFileSize = std::uint64_t{1} << 20};
  const struct {
    const char* name;
    Attempt attempt;
    const char* ending;
    bool isOfMemory = false;
  } rows[] = {
      {"a large allocation", [&] { return mapping(options.maxData, PROT_READ | PROT_WRITE); },
       "ENOMEM", true},
      {"many allocations",
       [] {
         for (int i = 0; i < 1024; ++i) {
           if (std::malloc(std::size_t{1} << 20) == nullptr) return errno;
         }
         return 0;
       },
       "ENOMEM", true},
      {"a large reservation", [&] { return mapping(options.maxAddressSpace, PROT_NONE); }, "ENOMEM",
       true},
      {"a file in memory", [&] { return growingMemory(options.maxFileSize); }, "works"},
      {"one too large", [&] { return growingMemory(options.maxFileSize + 1); }, "EFBIG"},
      {"too many open files", &duplicatingForever, "EMFILE"},
      {"more memory", [] { return raisingLimit(RLIMIT_DATA); }, "EPERM"},
      {"more files", [] { return raisingLimit(RLIMIT_NOFILE); }, "EPERM"},
      {"a core file", [] { return raisingLimit(RLIMIT_CORE); }, "EPERM"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(endingOf([&] {
                const bool isBounded = lockIn(options).isDataBounded;
                errno = 0;
                return isBounded || !row.isOfMemory ? row.attempt() : ENOMEM;
              }),
              row.ending)
        << row.name;
  }
}

int callOfAnotherArchitecture() {
#ifdef __x86_64__
  long result = 20;  // getpid there
  asm volatile("int $0x80" : "+a"(result)::"memory");
  return result < 0 ? static_cast<int>(-result) : 0;
#else
  ::raise(SIGSYS);
  return 0;
#endif
}

TEST_F(Sandbox, OtherProcessesAreOutOfReach) {
  const pid_t test = ::getpid();
  const struct {
    const char* name;
    Attempt attempt;
    const char* ending;
    bool isForSanitizer = false;
  } rows[] = {
      {"fork", [] { return errnoOf(::fork()); }, "EPERM", true},
      {"fork the new way", [] { return errnoOf(::syscall(SYS_clone3, nullptr, 0)); }, "ENOSYS"},
      {"have SIGIO sent", [&] { return errnoOf(::fcntl(0, F_SETOWN, test)); }, "EPERM"},
      {"debug", [&] { return errnoOf(::ptrace(PTRACE_ATTACH, test, nullptr, nullptr)); }, "SIGSYS",
       true},
      {"another view of files", [] { return errnoOf(::unshare(CLONE_NEWUSER)); }, "SIGSYS"},
      {"another architecture", &callOfAnotherArchitecture, "SIGSYS"},
      {"abort", [] { return std::abort(), 0; }, "SIGABRT"},
  };
  for (const auto& row : rows) {
    if (!(kHasSanitizer && row.isForSanitizer)) {
      EXPECT_EQ(endingOf([&] { return static_cast<void>(lockIn()), row.attempt(); }), row.ending)
          << row.name;
    }
  }
}

// MARK: What decoding needs

int startingThread() {
  int answer = ENOTRECOVERABLE;
  std::thread([&answer] { answer = 0; }).join();
  return answer;
}

int sharingMemory() {
  const Descriptor memory(::memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  constexpr std::size_t size = 4096;
  if (::ftruncate(memory.get(), size) == -1) return errno;
  void* const at = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0);
  if (at == MAP_FAILED) return errno;
  *static_cast<char*>(at) = 'x';
  ::munmap(at, size);
  if (::fcntl(memory.get(), F_ADD_SEALS,
              F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE)) {
    return errno;
  }
  if (::write(memory.get(), "y", 1) != -1) return ENOTRECOVERABLE;
  const std::string path = "/proc/self/fd/" + std::to_string(memory.get());
  return slurp(path).starts_with('x') ? 0 : ENOTRECOVERABLE;
}

/// Sends a descriptor from one end to the other, and reads through what arrives.
int passing(const int (&ends)[2], int descriptor) {
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptor)]{};
  char byte = 'x';
  iovec data{&byte, 1};
  msghdr message{nullptr, 0, &data, 1, control, sizeof control, 0};
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  *header = {CMSG_LEN(sizeof descriptor), SOL_SOCKET, SCM_RIGHTS};
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  pollfd ready{ends[1], POLLIN, 0};
  if (::sendmsg(ends[0], &message, MSG_NOSIGNAL) == -1 || ::poll(&ready, 1, -1) == -1 ||
      ::recvmsg(ends[1], &message, MSG_CMSG_CLOEXEC) == -1) {
    return errno;
  }
  std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
  return errnoOf(::pread(descriptor, &byte, 1, 0));
}

TEST_F(Sandbox, LeavesWhatDecodingNeeds) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  const Descriptor first(ends[0]);
  const Descriptor second(ends[1]);
  writeText(folder / "own" / "file", "the program's");
  const SandboxOptions options{.isBackground = true, .readable = {folder / "own", "/missing"}};
  const Descriptor passed(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  const std::string again = "/proc/self/fd/" + std::to_string(passed.get());
  const struct {
    const char* name;
    Attempt attempt;
    const char* ending;
  } rows[] = {
      {"a thread", &startingThread, "works"},
      {"a sealed file in memory", &sharingMemory, "works"},
      {"a passed file", [&] { return passing(ends, passed.get()); }, "works"},
      {"a passed file opened anew", [&] { return opening(again, O_RDONLY); }, "EACCES"},
      {"a folder of the program's own", [&] { return opening(folder / "own" / "file", O_RDONLY); },
       "works"},
      {"its own priority", [] { return ::sched_getscheduler(0) == SCHED_IDLE ? 0 : 1; }, "works"},
      {"a better one", [] { return errnoOf(::setpriority(PRIO_PROCESS, 0, 0)); }, "EPERM"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(endingOf([&] { return static_cast<void>(lockIn(options)), row.attempt(); }),
              row.ending)
        << row.name;
  }
}

TEST_F(Sandbox, EarlierThreadsAreFilteredAndReported) {
  EXPECT_EQ(endingOf([&] {
              std::promise<void> locked;
              int ending = 0;
              std::thread earlier([&] {
                locked.get_future().wait();
                ending = connecting(tcp);
              });
              const SandboxReport report = lockIn();
              locked.set_value();
              earlier.join();
              const bool isReported = !report.gaps().empty() || kHasSanitizer;
              return isReported ? ending : ENOTRECOVERABLE;
            }),
            "EPERM");
}

}  // namespace
}  // namespace vaultmere
