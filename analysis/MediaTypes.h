// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace vaultmere {

/// What the program makes of a file, by its extension alone: contents are
/// never sniffed for this.
enum class MediaType { image, video, sidecar, junk };

/// `extension` is lower-cased and without its dot.
[[nodiscard]] MediaType mediaTypeOf(std::string_view extension);

/// True for the extension of a camera's RAW file, in lower case, without its dot.
[[nodiscard]] bool isRaw(std::string_view extension);

}  // namespace vaultmere
