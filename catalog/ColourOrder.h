// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>
#include <string_view>

namespace vaultmere {

/// The names of the colour families, in the order in which they are listed.
[[nodiscard]] std::span<const std::string_view> colourFamilies();

/// The place of a family in that order; 99 for any other name.
[[nodiscard]] int colourPosition(std::string_view family);

}  // namespace vaultmere
