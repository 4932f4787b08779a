// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace vaultmere {

/// A folder of its own for one test, below the system's temporary directory.
/// It goes with everything in it when this is destroyed, folders without
/// permissions included. What a test has mounted inside is unmounted first.
class TemporaryFolder {
 public:
  /// Throws std::system_error when the folder can't be made.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Absolute, without links.
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
  [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const {
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace vaultmere
