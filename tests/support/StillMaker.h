// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/Metadata.h"
#include "tests/support/Painter.h"

namespace vaultmere {

enum class StillFormat { jpeg, heic, avif, png, webp, tiff, gif, bmp, psd, jp2 };

/// How a file stores its colours.
enum class ColourModel {
  rgb,
  grey,     ///< one channel, of the colour's luminance; JPEG, PNG, TIFF and JPEG 2000 only
  cmyk,     ///< four inks; JPEG and TIFF only
  palette,  ///< at most 256 colours; PNG, and what a GIF always has
};

/// The ICC profile that a file carries. The pixels are those that the painter
/// gives, taken as this profile's; nothing is converted.
enum class ColourProfile {
  none,
  srgb,
  displayP3,  ///< a wide gamut: a right reader doesn't show the numbers as they stand
  cmyk,       ///< for ColourModel::cmyk: the inks come from this profile and it is embedded
};

struct StillOptions {
  StillFormat format = StillFormat::jpeg;
  /// As stored, before any rotation. HEIC: even and at least 64 each way.
  int width = 96;
  int height = 64;
  /// Paints the stored pixels; with `upright` the picture as it is shown.
  Painter painter = gradient({20, 60, 200}, {240, 200, 40});
  /// The painter's picture is rotated before it is stored, so that a reader that
  /// applies `metadata.orientation` shows it as it was painted.
  bool upright = false;
  ColourModel colours = ColourModel::rgb;
  bool alpha = false;  ///< not for JPEG, BMP and JPEG 2000
  int bits = 8;        ///< a channel; 16 for PNG and TIFF, 10 for HEIC
  ColourProfile profile = ColourProfile::none;
  int quality = 90;          ///< 1 to 100, of the lossy formats
  bool progressive = false;  ///< JPEG, PNG
  int frames = 1;            ///< GIF and WebP; by turns the picture and its negative
  /// HEIC and AVIF: the container's own rotation (the `irot` property) in degrees
  /// anticlockwise, 90, 180 or 270, beside whatever orientation EXIF tells.
  int containerRotation = 0;
  Metadata metadata{};
};

/// Makes or replaces a picture; the same options give the same bytes. The
/// format alone decides what is written, whatever the path's extension says.
/// Throws std::runtime_error with the library's words. What a format doesn't
/// have may be missing without an error.
void makeStill(const std::filesystem::path& path, const StillOptions& options = {});

/// What `makeStill` writes.
[[nodiscard]] std::string stillBytes(const StillOptions& options);

}  // namespace vaultmere
