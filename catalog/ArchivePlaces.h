// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace vaultmere {

class Connection;

/// Where a row says that its file is, and how large that is.
struct ArchivePlace {
  std::string id;
  std::optional<std::string> archivePath;  ///< absolute
  std::string targetPath;                  ///< relative to the archive's root
  std::string originalFilename;
  std::int64_t sizeBytes = 0;
  bool hasMotionFile = false;
};

/// Hands over each row, in the order of insertion, trashed and stacked ones
/// included. Throws CatalogError.
void forEachArchivePlace(Connection& connection,
                         const std::function<void(ArchivePlace&& place)>& visit);

}  // namespace vaultmere
