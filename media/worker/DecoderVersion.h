// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace vaultmere {

/// Identifies the versions of the program and of the media libraries that it runs
/// with. While it stays the same, a file that couldn't be decoded can't be decoded now either.
/// Any thread; loads libraries, so not for the main one.
[[nodiscard]] std::string decoderVersion();

}  // namespace vaultmere
