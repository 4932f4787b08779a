// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include "platform/Files.h"

namespace vaultmere {

/// How a HEIC, HEIF or AVIF file says that its primary image is to be rotated, as
/// an EXIF orientation code; 1 when it says nothing. In these containers it is
/// the item's own properties (`irot`, `imir`) that count, and an EXIF tag beside
/// them is mere information. Absent when the file's structure can't be read.
[[nodiscard]] std::optional<int> heifOrientation(const File& file);

struct HeifSize {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
};
/// The size that such a file declares for its primary image, before any rotation.
[[nodiscard]] std::optional<HeifSize> heifSize(const File& file);

}  // namespace vaultmere
