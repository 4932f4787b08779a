// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "media/Bitmap.h"

namespace vaultmere {

/// A bitmap as a JPEG without any metadata, over white where it is transparent.
/// `quality` is 0 to 1, as 0.82. Empty when there are fewer pixels than the size
/// says, or none. Any thread.
[[nodiscard]] std::string encodeJpeg(const Bitmap& bitmap, double quality);

}  // namespace vaultmere
