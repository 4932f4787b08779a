// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "catalog/PhotoMetadata.h"
#include "media/ImageProperties.h"

namespace vaultmere {

/// Everything that is read from a still's embedded properties.
struct ImageMetadata : FileMetadata {
  std::optional<std::string> dateTimeOriginal;  ///< "2021-06-01T10:11:12", local wall clock
  std::optional<std::string> gpsDateTime;       ///< the same form, UTC
  bool operator==(const ImageMetadata&) const = default;

  /// Reads a file. All fields are absent for what can't be opened as an image;
  /// only `mimeType` may be set for one without readable properties. Never
  /// fails. Any thread.
  [[nodiscard]] static ImageMetadata read(const std::filesystem::path& path);

  /// The record of properties that have been read already.
  [[nodiscard]] static ImageMetadata of(const ImageProperties& properties);
};

}  // namespace vaultmere
