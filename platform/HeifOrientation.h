// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "platform/Files.h"

namespace vaultmere {

/// How a HEIC, HEIF or AVIF file says that its primary image is to be turned, as
/// an EXIF orientation code; 1 when it says nothing. In these containers it is
/// the item's own properties (`irot`, `imir`) that count, and an EXIF tag beside
/// them is mere information. Absent when the file's structure can't be read.
[[nodiscard]] std::optional<int> heifOrientation(const File& file);

}  // namespace vaultmere
