// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace vaultmere {

/// Gives a HEIC or AVIF file's primary picture an `irot` property (ISO/IEC
/// 23008-12), so that readers turn it by `degrees` anticlockwise: 90, 180 or
/// 270. Phones write their portrait pictures so. Throws std::runtime_error for
/// a layout that the writers in use here don't make.
[[nodiscard]] std::string withHeifTurn(std::string_view file, int degrees);

}  // namespace vaultmere
