// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/Painter.h"

namespace vaultmere {

struct RasterOptions {
  int width = 0;
  int height = 0;
  int bands = 3;          ///< 1 grey, 2 grey and alpha, 3 colours, 4 colours and alpha
  bool wide = false;      ///< two bytes a channel, in the machine's order, else one
  int orientation = 1;    ///< EXIF code, 1 to 8, by which the painter's picture is rotated back
  bool negative = false;  ///< the colours inverted, alpha as it is
};

/// Painted pixels, rows from the top without padding.
[[nodiscard]] std::vector<std::uint8_t> paint(const RasterOptions& options, const Painter& painter);

}  // namespace vaultmere
