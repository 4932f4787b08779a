// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/FileLease.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "platform/SystemCall.h"

namespace vaultmere {
namespace {

/// File systems behind a network or another process: others may write to their
/// files without this kernel's knowledge, and some refuse every lease.
constexpr std::array<std::uint32_t, 9> kRemoteTypes{
    NFS_SUPER_MAGIC, SMB_SUPER_MAGIC, CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC, FUSE_SUPER_MAGIC,
    V9FS_MAGIC,      AFS_SUPER_MAGIC, CODA_SUPER_MAGIC, CEPH_SUPER_MAGIC};

/// A process that this one starts has all of its open files for some milliseconds.
constexpr int kAttempts = 4;
constexpr std::chrono::milliseconds kAttemptInterval{5};

bool isLocal(int descriptor, const fs::path& path) {
  struct statfs s {};
  if (attempt("fstatfs", path, [&] { return ::fstatfs(descriptor, &s); }) == -1) {
    return false;
  }
  const auto type = static_cast<std::uint32_t>(s.f_type);
  return std::find(kRemoteTypes.begin(), kRemoteTypes.end(), type) == kRemoteTypes.end();
}

}  // namespace

FileLease::FileLease(const fs::path& path)
    : descriptor_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
  // Who opens the file while we hold the lease has us told by this signal, whose
  // default is to end the process.
  [[maybe_unused]] static const auto ignored = ::signal(SIGIO, SIG_IGN);
  if (descriptor_.get() == -1 || !isLocal(descriptor_.get(), path)) {
    return;
  }
  // A read lease is granted only while nobody has the file open for writing.
  isHeld_ =
      attempt("lease", path, [&] { return ::fcntl(descriptor_.get(), F_SETLEASE, F_RDLCK); }) == 0;
  isRefusedByWriter_ = !isHeld_ && errno == EAGAIN;
}

bool FileLease::isWanted() const noexcept {
  return isHeld_ && ::fcntl(descriptor_.get(), F_GETLEASE) != F_RDLCK;
}

bool isBeingWritten(const fs::path& path) {
  for (int attempts = kAttempts; FileLease(path).isRefusedByWriter(); --attempts) {
    if (attempts == 1) {
      return true;
    }
    std::this_thread::sleep_for(kAttemptInterval);
  }
  return false;
}

}  // namespace vaultmere
