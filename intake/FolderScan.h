// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <set>
#include <stop_token>
#include <utility>
#include <vector>

#include "intake/AssetGroup.h"

namespace vaultmere {

/// What a scan found.
struct ScanResult {
  std::vector<AssetGroup> groups;
  std::vector<std::filesystem::path> junk;  ///< neither image, video nor sidecar

  void append(ScanResult other);
};

/// Pairs stills with their motion files and sorts out the junk. Looks at names
/// only: stills in name order, each with the first video of its exact stem,
/// then the videos that no still took.
[[nodiscard]] ScanResult groupFiles(std::vector<std::filesystem::path> files);

/// Folders that are left alone. Known by device and inode, so that another path
/// to the same folder (a link, a bind mount) is known as well. A value of the
/// moment it was made.
class ProtectedFolders {
 public:
  ProtectedFolders() = default;
  explicit ProtectedFolders(const std::vector<std::filesystem::path>& folders);

  /// True when `folder` itself is one of them.
  [[nodiscard]] bool contains(const std::filesystem::path& folder) const;
  /// True when `path` is one of them or lies below one, by its real path.
  [[nodiscard]] bool cover(const std::filesystem::path& path) const;

 private:
  std::set<std::pair<dev_t, ino_t>> folders_;
};

/// The entries of one folder that concern a scan: its regular files, and the
/// folders below it that may be entered (not hidden, no packages, no links,
/// none of `protect`), both in the system's order.
struct FolderContent {
  std::vector<std::filesystem::path> files;
  std::vector<std::filesystem::path> folders;
};

/// A folder that can't be listed is empty, and is named in the log.
[[nodiscard]] FolderContent readFolder(const std::filesystem::path& folder,
                                       const ProtectedFolders& protect);

/// The folder's own files.
[[nodiscard]] ScanResult scanFolder(const std::filesystem::path& folder,
                                    const ProtectedFolders& protect);

/// The folder and all those below it, each grouped by itself. A stop ends the
/// scan with what was found so far.
[[nodiscard]] ScanResult scanTree(const std::filesystem::path& folder,
                                  const ProtectedFolders& protect, const std::stop_token& stop);

}  // namespace vaultmere
