// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "catalog/Photo.h"

namespace vaultmere {

/// What it takes to find an item's files without touching the catalog.
struct PhotoRef {
  std::string id;   ///< names the cached files
  std::string ext;  ///< lower case, without its dot
  std::optional<std::string> archivePath;
  std::optional<std::string> targetPath;  ///< relative to the archive's root
  std::optional<std::string> mediaType;

  bool operator==(const PhotoRef&) const = default;
};

[[nodiscard]] PhotoRef photoRefOf(const Photo& photo);

/// The form that `PhotoRef` has an extension in: ".JPG" gives "jpg".
[[nodiscard]] std::string bareExtension(const std::string& ext);

/// The item's file in the archive: where it was copied to, else where it
/// belongs below `archiveRoot`. Absent when neither is there, as with a drive
/// that isn't plugged in. Touches the drive: not for the main thread.
[[nodiscard]] std::optional<std::filesystem::path> originalOf(
    const PhotoRef& ref, const std::optional<std::filesystem::path>& archiveRoot);

}  // namespace vaultmere

template <>
struct std::hash<vaultmere::PhotoRef> {
  std::size_t operator()(const vaultmere::PhotoRef& ref) const noexcept;
};
