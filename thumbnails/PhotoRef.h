// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "catalog/Photo.h"
#include "platform/Files.h"

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

/// Opens the item's file in the archive: where it was copied to, else where it
/// belongs below `archiveRoot`. What lies below the root is reached through no
/// symbolic link. Absent when neither can be opened, as with a drive that isn't
/// plugged in. Touches the drive: not for the main thread.
[[nodiscard]] std::optional<File> openOriginal(
    const PhotoRef& ref, const std::optional<std::filesystem::path>& archiveRoot);

}  // namespace vaultmere

template <>
struct std::hash<vaultmere::PhotoRef> {
  std::size_t operator()(const vaultmere::PhotoRef& ref) const noexcept;
};
