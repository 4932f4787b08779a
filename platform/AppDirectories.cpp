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

/// A process that was being started when the program was killed holds what the
/// program had open until it has become another program.
constexpr std::chrono::milliseconds kLockTimeout{500};
constexpr std::chrono::milliseconds kLockInterval{5};

}  // namespace

AppDirectories AppDirectories::ofUser() {
  return {baseFolder("XDG_DATA_HOME", ".local/share"), baseFolder("XDG_CONFIG_HOME", ".config"),
          installedFolder("share/vaultmere"), installedFolder("libexec/vaultmere")};
}

std::optional<InstanceLock> InstanceLock::acquire(const fs::path& folder) {
  makePrivateFolder(folder);
  File file = File::openForAppending(folder / "lock");
  const auto end = std::chrono::steady_clock::now() + kLockTimeout;
  int code = faultAt("flock", file.path());
  while (code == 0 && ::flock(file.descriptor(), LOCK_EX | LOCK_NB) == -1) {
    code = errno == EINTR ? 0 : errno;
    if (code == EWOULDBLOCK && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kLockInterval);
      code = 0;
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
