// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "media/ImageProperties.h"

namespace vaultmere {

/// Everything that is read from a still's embedded properties. What a file
/// doesn't tell, or can't be read, is absent.
struct ImageMetadata {
  std::optional<int> width;          ///< pixels, before rotation
  std::optional<int> height;         ///< pixels, before rotation
  std::optional<double> megapixels;  ///< not rounded
  std::optional<int> orientation;    ///< EXIF code; 1 when a readable image gives none
  std::optional<std::string> mimeType;
  std::optional<std::string> dateTimeOriginal;  ///< "2021-06-01T10:11:12", local wall clock
  std::optional<std::string> gpsDateTime;       ///< the same form, UTC
  std::optional<double> gpsLat;                 ///< degrees, north positive
  std::optional<double> gpsLon;                 ///< degrees, east positive
  std::optional<std::string> cameraMake;
  std::optional<std::string> cameraModel;
  std::optional<std::string> cameraLens;
  std::optional<std::string> software;
  std::optional<int> iso;
  /// The f-number; of a file that only holds the APEX value, that value as it is.
  std::optional<double> aperture;
  std::optional<double> shutter;      ///< seconds
  std::optional<double> focalLength;  ///< millimetres, as stored
  bool operator==(const ImageMetadata&) const = default;

  /// Reads a file. All fields are absent for what can't be opened as an image;
  /// only `mimeType` may be set for one without readable properties. Never
  /// fails. Any thread.
  [[nodiscard]] static ImageMetadata read(const std::filesystem::path& path);

  /// The record of properties that have been read already.
  [[nodiscard]] static ImageMetadata of(const ImageProperties& properties);
};

}  // namespace vaultmere
