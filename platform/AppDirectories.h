// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>

#include "platform/Files.h"

namespace vaultmere {

/// Where the program has its own files on this machine.
struct AppDirectories {
  std::filesystem::path data;      ///< catalog, log, caches: `$XDG_DATA_HOME/Vaultmere`
  std::filesystem::path settings;  ///< `defaults.json`: `$XDG_CONFIG_HOME/Vaultmere`
  /// What comes with the program, to be read only: `share/vaultmere` beside the
  /// folder of the program, or that folder itself where it hasn't been installed.
  std::filesystem::path resources{};
  /// Programs that only this one runs: `libexec/vaultmere` beside the folder of the
  /// program, or that folder itself where it hasn't been installed.
  std::filesystem::path helpers{};

  /// By the XDG base directory rules; a relative or missing variable counts as
  /// unset, and without a HOME the password database is asked. Makes nothing.
  [[nodiscard]] static AppDirectories ofUser();
};

/// Holds a data folder for one process, from construction to destruction.
class InstanceLock {
 public:
  /// Makes the folder (0700) when it's missing. Absent when another process,
  /// or this one, holds it. Throws FileError when the folder can't be made or
  /// locked.
  [[nodiscard]] static std::optional<InstanceLock> acquire(const std::filesystem::path& folder);

 private:
  explicit InstanceLock(File file) : file_(std::move(file)) {}
  File file_;  // the lock goes when it is closed, also by a crash
};

}  // namespace vaultmere
