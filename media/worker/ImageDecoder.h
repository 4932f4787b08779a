// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include "media/Bitmap.h"
#include "media/worker/StillFile.h"

namespace vaultmere {

/// Renders the first image of a file so that its longer side is at most
/// `maxPixels`, upright by its orientation and in sRGB whatever its profile,
/// depth or colour model. Smaller images keep their size. Of a RAW file, the
/// embedded preview is shown when it has as many pixels as are asked for.
///
/// Absent when the file isn't one of the still formats that
/// the program takes (by its content, never by its name), can't be
/// decoded in its first row, or would need more than `kMaxDecodeBytes`. Rows that
/// a damaged file lacks are grey. Any thread.
[[nodiscard]] std::optional<Bitmap> decodeScaled(StillFile& still, int maxPixels);

/// The same for a small rendering: the thumbnail inside a JPEG or HEIC, or the
/// preview inside a RAW file, is shown in place of the picture, which saves
/// decoding all of its pixels. That may give fewer than `maxPixels`, down to a
/// camera's usual 160. One with bars or another crop isn't used, nor one whose
/// colours or rotation are unknown.
[[nodiscard]] std::optional<Bitmap> decodeThumbnail(StillFile& still, int maxPixels);

/// The most memory that one decode may take for pixels; real pictures need
/// far less.
inline constexpr std::int64_t kMaxDecodeBytes = std::int64_t{1} << 30;

}  // namespace vaultmere
