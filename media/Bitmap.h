// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace vaultmere {

/// A picture in memory: 8-bit sRGB, red, green, blue, alpha, four bytes a
/// pixel, rows from the top without padding, alpha premultiplied.
struct Bitmap {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;  ///< 4 × width × height bytes
};

}  // namespace vaultmere
