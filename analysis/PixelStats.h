// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "media/Bitmap.h"
#include "media/MediaService.h"

// A still reduced to its mean colour, whether it is black and white, and the
// name of a colour family. Any thread may call any of this.
namespace vaultmere::PixelStats {

/// The longest side, in pixels, of what the statistics are taken from.
inline constexpr int kSamplePixels = 64;

struct Result {
  int avgR = 0;  ///< means, 0 to 255
  int avgG = 0;
  int avgB = 0;
  std::string hex;  ///< the same as "#rrggbb" in lower case
  bool isBW = false;
  std::optional<std::string> colorFamily;  ///< absent exactly when `isBW`
  bool operator==(const Result&) const = default;
};

struct Hsl {
  double hue = 0;         ///< degrees, from 0 up to 360
  double saturation = 0;  ///< 0 to 1
  double lightness = 0;   ///< 0 to 1
};

/// The file's first image, upright, with a longer side of at most `maxPixels`;
/// absent when it can't be rendered. Throws MediaError. Not for the main thread.
[[nodiscard]] std::optional<Bitmap> downscaled(MediaService& media, const MediaFile& file,
                                               int maxPixels);

/// Looks at every pixel that isn't wholly transparent; absent when there is
/// none. `isBW` comes from the pixels' own saturations, the family from the mean
/// colour, so that a colourful picture can be "Gray" and not black and white.
[[nodiscard]] std::optional<Result> analyze(const Bitmap& image);

/// The family of a colour of three numbers from 0 to 255. A bound between two
/// families belongs to the later one.
[[nodiscard]] std::string_view family(int red, int green, int blue);

[[nodiscard]] Hsl hsl(int red, int green, int blue);

}  // namespace vaultmere::PixelStats
