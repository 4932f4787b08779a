// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "media/ImageProperties.h"
#include "media/worker/StillFile.h"

namespace vaultmere {

/// The properties of a still; absent when the file isn't one of the formats
/// that the program takes. What can't be read is left out. Any thread.
[[nodiscard]] std::optional<ImageProperties> readImageProperties(StillFile& still);

}  // namespace vaultmere
