// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/Painter.h"

namespace vaultmere {

struct GpsPosition {
  double latitude = 0;   ///< degrees, north positive
  double longitude = 0;  ///< degrees, east positive
};

/// A JPEG of its own inside the EXIF block.
struct EmbeddedThumbnail {
  int width = 160;
  int height = 120;
  Painter painter = flat({128, 128, 128});
};

/// What is embedded in a still beside its pixels. Everything is optional; an
/// empty record embeds nothing.
struct Metadata {
  /// Values by Exiv2's key, in Exiv2's text form:
  /// {"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
  /// {"Exif.Image.Make", "Acme"}, {"Exif.Photo.FNumber", "28/10"},
  /// {"Exif.GPSInfo.GPSTimeStamp", "10/1 11/1 1250/100"}. They win over what
  /// the members below say.
  std::map<std::string, std::string> exif{};
  /// The same for XMP: {"Xmp.aux.Lens", "50mm F1.8"}.
  std::map<std::string, std::string> xmp{};
  std::optional<GpsPosition> gps{};
  std::optional<int> orientation{};  ///< EXIF code, 1 to 8
  std::optional<EmbeddedThumbnail> thumbnail{};

  [[nodiscard]] bool empty() const;
};

/// The EXIF block, from its TIFF header on; empty when there is nothing for it.
[[nodiscard]] std::string exifBlock(const Metadata& metadata);
/// The XMP packet; empty when there is nothing for it.
[[nodiscard]] std::string xmpPacket(const Metadata& metadata);

/// The bytes of a JPEG, PNG, WebP, TIFF, DNG, PSD or JPEG 2000 with the metadata
/// in it. Throws std::runtime_error for any other format, and for a key or value
/// that Exiv2 doesn't take.
[[nodiscard]] std::string withMetadata(std::string_view picture, const Metadata& metadata);

/// The bytes of a picture with its EXIF block taken out; for the same formats.
[[nodiscard]] std::string withoutExif(std::string_view picture);

}  // namespace vaultmere
