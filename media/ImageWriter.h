// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include "media/Bitmap.h"
#include "platform/Files.h"

namespace vaultmere {

/// Writes a bitmap as a JPEG without any metadata, over white where it is
/// transparent. `quality` is 0 to 1, as 0.82. The file is written under a
/// temporary name and renamed, so that a reader sees all of it or none. Throws
/// FileError.
void writeJpeg(const Bitmap& bitmap, const std::filesystem::path& path, double quality,
               Durability durability = Durability::powerCut);

}  // namespace vaultmere
