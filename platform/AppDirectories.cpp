// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AppDirectories.h"

#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "platform/FaultPoint.h"

namespace vaultmere {
namespace {

constexpr const char* kFolderName = "Vaultmere";

/// When a program has been killed while it started another one, that one holds
/// what it inherits until it begins: some milliseconds.
constexpr int kLockAttempts = 10;
constexpr std::chrono::milliseconds kLockInterval{20};

std::optional<fs::path> absoluteVariable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value != '/') {
    return std::nullopt;
  }
  return value;
}

/// The home folder by the password database; "/" for a user that it doesn't
/// know, where making anything then fails in words.
fs::path homeByPasswordDatabase() {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  int code = 0;
  while ((code = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found)) ==
         ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (code != 0 || found == nullptr || entry.pw_dir == nullptr || *entry.pw_dir != '/') {
    return "/";
  }
  return entry.pw_dir;
}

fs::path homeFolder() {
  const auto home = absoluteVariable("HOME");
  return home ? *home : homeByPasswordDatabase();
}

fs::path baseFolder(const char* variable, const char* belowHome) {
  const auto folder = absoluteVariable(variable);
  return (folder ? *folder : homeFolder() / belowHome) / kFolderName;
}

/// A folder beside that of the program, if there is one, else the latter.
fs::path installedFolder(const char* name) {
  std::error_code unknown;
  const fs::path program = fs::read_symlink("/proc/self/exe", unknown).parent_path();
  const fs::path installed = program.parent_path() / name;
  return fs::is_directory(installed, unknown) ? installed : program;
}

}  // namespace

AppDirectories AppDirectories::ofUser() {
  return {baseFolder("XDG_DATA_HOME", ".local/share"), baseFolder("XDG_CONFIG_HOME", ".config"),
          installedFolder("share/vaultmere"), installedFolder("libexec/vaultmere")};
}

std::optional<InstanceLock> InstanceLock::acquire(const fs::path& folder) {
  makePrivateFolder(folder);
  File file = File::openForAppending(folder / "lock");
  int code = faultAt("flock", file.path());
  int attempts = kLockAttempts;
  while (code == 0 && ::flock(file.descriptor(), LOCK_EX | LOCK_NB) == -1) {
    if (errno == EWOULDBLOCK && --attempts > 0) {
      std::this_thread::sleep_for(kLockInterval);
    } else if (errno != EINTR) {
      code = errno;
    }
  }
  if (code == EWOULDBLOCK) {
    return std::nullopt;
  }
  if (code != 0) {
    throw FileError("lock", file.path(), code);
  }
  return InstanceLock(std::move(file));
}

}  // namespace vaultmere
