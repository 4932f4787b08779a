// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/ColourFamilies.h"

#include <algorithm>

namespace vaultmere {
namespace {

constexpr int kBehindAll = 99;

}  // namespace

int colourPosition(std::string_view family) {
  const auto found = std::find_if(kColourFamilies.begin(), kColourFamilies.end(),
                                  [&](const ColourFamily& one) { return one.name == family; });
  return found == kColourFamilies.end() ? kBehindAll
                                        : static_cast<int>(found - kColourFamilies.begin());
}

}  // namespace vaultmere
