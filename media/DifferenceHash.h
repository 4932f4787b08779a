// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "media/Bitmap.h"

namespace vaultmere {

/// The difference hash of a picture: which parts of it are brighter than the part to
/// their right. Copies in another size, format or quality have nearly the same one.
///
/// Hashes are kept in the catalog and compared with those of later versions and other
/// machines: never change how a bit comes about. All of it is integer arithmetic over
/// the pixels.
///
/// 1. The brightness of a pixel is 299 red + 587 green + 114 blue, in thousandths. The
///    colours count as they are, premultiplied: what is transparent is black.
/// 2. The picture is divided into 9 columns and 8 rows of equal cells, whatever its
///    aspect ratio. A cell's brightness is the average over its area; a pixel that
///    several cells share counts in each with the part that lies in it. The average is
///    rounded to a whole number, 0 to 255, halves up.
/// 3. From the top row down, from left to right: a bit is 1 if the cell is brighter than
///    the next one in its row. The first is bit 63, the last bit 0.
///
/// 0 for a picture of one brightness, and for one without pixels.
[[nodiscard]] std::uint64_t differenceHash(const Bitmap& picture);

}  // namespace vaultmere
