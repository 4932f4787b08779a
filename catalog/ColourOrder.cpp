// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/ColourOrder.h"

#include <algorithm>
#include <array>

namespace vaultmere {
namespace {

constexpr int kBehindAll = 99;
constexpr std::array<std::string_view, 11> kFamilies{
    "Red", "Orange", "Yellow", "Green", "Cyan", "Blue", "Purple", "Pink", "White", "Gray", "Black"};

}  // namespace

std::span<const std::string_view> colourFamilies() { return kFamilies; }

int colourPosition(std::string_view family) {
  const auto found = std::find(kFamilies.begin(), kFamilies.end(), family);
  return found == kFamilies.end() ? kBehindAll : static_cast<int>(found - kFamilies.begin());
}

}  // namespace vaultmere
