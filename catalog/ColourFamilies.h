// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <string_view>

namespace vaultmere {

/// A name under which similar colours go, and a colour that shows it.
struct ColourFamily {
  std::string_view name;
  std::string_view swatch;  ///< "#rrggbb"
};

/// The eleven families, in the order in which they are listed everywhere. The
/// names stand in the catalog: never change them.
inline constexpr std::array<ColourFamily, 11> kColourFamilies{{{"Red", "#e23b3b"},
                                                               {"Orange", "#e2873b"},
                                                               {"Yellow", "#e2d23b"},
                                                               {"Green", "#4caf50"},
                                                               {"Cyan", "#3bc7e2"},
                                                               {"Blue", "#3b6fe2"},
                                                               {"Purple", "#8d3be2"},
                                                               {"Pink", "#e23bb0"},
                                                               {"White", "#e8e8e8"},
                                                               {"Gray", "#9aa0a8"},
                                                               {"Black", "#2c2c2c"}}};

/// The place of a family in that order; 99 for any other name.
[[nodiscard]] int colourPosition(std::string_view family);

}  // namespace vaultmere
