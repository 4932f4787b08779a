// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/FaultPoint.h"
#include "platform/Files.h"

// How the file layer makes its system calls. For `platform/` only.
namespace vaultmere {

/// Runs a system call, again when a signal interrupts it, unless a test wants
/// it to fail. Gives its value; -1 with errno set on failure.
template <typename Call>
auto attempt(std::string_view step, const fs::path& path, Call&& call) -> decltype(call()) {
  if (const int fault = faultAt(step, path); fault != 0) {
    errno = fault;
    return -1;
  }
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

/// The same, with a failure thrown as FileError.
template <typename Call>
auto require(std::string_view step, const fs::path& path, Call&& call) -> decltype(call()) {
  const auto result = attempt(step, path, std::forward<Call>(call));
  if (result == -1) {
    throw FileError(step, path, errno);
  }
  return result;
}

[[nodiscard]] FileKind kindOf(mode_t mode);
[[nodiscard]] FileStatus statusOf(const struct stat& s);

/// True for the errors by which a file system says that it doesn't know an
/// operation at all. EROFS is none: a file system that has stopped writing after
/// an error (ext4, Btrfs) answers a flush with it, and nothing is durable.
[[nodiscard]] bool isRefusal(int code);
/// Says once a process that a file system doesn't do something that is only
/// best effort. The reason is errno.
void logRefusal(std::atomic_flag& said, std::string_view what, const fs::path& path);

/// Flushes the folder `name` of the open folder `at`; see syncDirectory.
void syncFolderAt(int at, const char* name, const fs::path& shown);

}  // namespace vaultmere
