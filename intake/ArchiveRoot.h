// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

#include "platform/OpenFolder.h"

namespace vaultmere {

/// Where an archive is. A value; any thread.
struct ArchiveRoot {
  fs::path path;  ///< must exist: never made
  /// Whether the root may lie on this device: an empty mount point isn't the
  /// drive. Null means that any will do.
  std::function<bool(dev_t device)> acceptsDevice;

  /// The root as it is now. Throws FileError; ENODEV on another device.
  [[nodiscard]] OpenFolder open() const;

  /// The folders from the root down to `relative`, made where they are missing;
  /// their entries aren't flushed. Throws FileError.
  [[nodiscard]] std::vector<OpenFolder> makeFolders(const fs::path& relative) const;

  /// The status of the file `relative` below the root, whatever file system it
  /// lies on; absent when there is none. Throws FileError.
  [[nodiscard]] std::optional<FileStatus> statusOf(const fs::path& relative) const;
};

}  // namespace vaultmere
