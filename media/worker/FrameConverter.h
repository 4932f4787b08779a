// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "media/Bitmap.h"

struct AVFrame;

namespace vaultmere {

/// A decoded frame as a picture of `width` × `height` pixels in sRGB, which are
/// its size before it is rotated by the EXIF code. Absent when it can't be scaled
/// so far, or is of a form that isn't known.
[[nodiscard]] std::optional<Bitmap> bitmapOfFrame(const AVFrame& frame, int width, int height,
                                                  int orientation);

}  // namespace vaultmere
