// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "media/Bitmap.h"
#include "media/worker/VipsStill.h"

namespace vaultmere {

/// The size that an image of `size` is shown in: rotated by the EXIF code, its
/// longer side at most `maxPixels`, neither side below 1, never enlarged.
[[nodiscard]] PixelSize fitted(PixelSize size, int maxPixels, int orientation);

/// Decodes an image, rotates it by the EXIF code and scales it to exactly `size`,
/// in sRGB. Absent when that fails, takes too long, or comes to more than
/// `kMaxPictureBytes`. Throws FileError when there is no memory for a large one.
[[nodiscard]] std::optional<Bitmap> render(const VipsImageHandle& image, PixelSize size,
                                           int orientation, const Deadline& deadline);

}  // namespace vaultmere
