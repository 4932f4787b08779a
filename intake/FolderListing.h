// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>

namespace vaultmere {

/// Which folder a path leads to and what it holds, to be compared with a later
/// look. All 0 for a folder that can't be listed.
struct FolderListing {
  dev_t device = 0;
  ino_t inode = 0;
  /// Changes with the names, sizes and modification times of the entries.
  std::uint64_t fingerprint = 0;

  [[nodiscard]] bool isOfSameFolder(const FolderListing& other) const {
    return device == other.device && inode == other.inode;
  }
  bool operator==(const FolderListing&) const = default;
};

/// Looks at the folder's own entries. Blocks for as long as its drive likes.
[[nodiscard]] FolderListing listingOf(const std::filesystem::path& folder);

}  // namespace vaultmere
