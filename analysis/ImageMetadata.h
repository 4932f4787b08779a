// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "catalog/PhotoMetadata.h"
#include "media/ImageProperties.h"
#include "media/MediaService.h"

namespace vaultmere {

/// Everything that is read from a still's embedded properties.
struct ImageMetadata : FileMetadata {
  std::optional<std::string> dateTimeOriginal;  ///< "2021-06-01T10:11:12", local wall clock
  std::optional<std::string> gpsDateTime;       ///< the same form, UTC
  bool operator==(const ImageMetadata&) const = default;

  /// Reads a file. All fields are absent for what isn't an image; only `mimeType`
  /// may be set for one without readable properties. Throws MediaError. Any thread
  /// but the main one.
  [[nodiscard]] static ImageMetadata read(MediaService& media, const MediaFile& file);

  /// The record of properties that have been read already.
  [[nodiscard]] static ImageMetadata of(const ImageProperties& properties);
};

}  // namespace vaultmere
