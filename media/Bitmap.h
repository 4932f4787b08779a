// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "media/PixelBuffer.h"

namespace vaultmere {

/// A picture in memory: 8-bit sRGB, red, green, blue, alpha, four bytes a
/// pixel, rows from the top without padding, alpha premultiplied.
struct Bitmap {
  int width = 0;
  int height = 0;
  PixelBuffer pixels;  ///< 4 × width × height bytes
};

}  // namespace vaultmere
