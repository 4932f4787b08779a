// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string>

#include "media/Bitmap.h"
#include "tests/support/Painter.h"

namespace vaultmere {

inline constexpr Colour kRed{200, 40, 40};
inline constexpr Colour kGreen{40, 180, 60};
inline constexpr Colour kBlue{40, 60, 200};
inline constexpr Colour kYellow{220, 200, 40};

/// The picture whose corners are "RGBY".
inline Painter upright() { return quarters(kRed, kGreen, kBlue, kYellow); }

/// Both coordinates run from 0 to 1, as a painter's do.
inline Colour colourAt(const Bitmap& bitmap, double x, double y) {
  const auto column = static_cast<std::size_t>(x * bitmap.width);
  const auto row = static_cast<std::size_t>(y * bitmap.height);
  const std::size_t at = (row * static_cast<std::size_t>(bitmap.width) + column) * 4;
  return {bitmap.pixels.at(at), bitmap.pixels.at(at + 1), bitmap.pixels.at(at + 2),
          bitmap.pixels.at(at + 3)};
}

inline bool isNear(Colour a, Colour b, int tolerance) {
  return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
         std::abs(a.blue - b.blue) <= tolerance && std::abs(a.alpha - b.alpha) <= tolerance;
}

/// Which of the four colours stand top left, top right, bottom left and bottom
/// right, as in "RGBY"; "-" for another one.
inline std::string cornersOf(const std::optional<Bitmap>& bitmap, int tolerance = 30) {
  if (!bitmap) {
    return "absent";
  }
  constexpr std::array kColours{kRed, kGreen, kBlue, kYellow};
  std::string letters;
  for (const auto& [x, y] : {std::pair{0.25, 0.25}, {0.75, 0.25}, {0.25, 0.75}, {0.75, 0.75}}) {
    letters += '-';
    for (std::size_t i = 0; i < kColours.size(); ++i) {
      if (isNear(colourAt(*bitmap, x, y), kColours.at(i), tolerance)) letters.back() = "RGBY"[i];
    }
  }
  return letters;
}

inline std::string sizeOf(const std::optional<Bitmap>& bitmap) {
  return bitmap ? std::to_string(bitmap->width) + "x" + std::to_string(bitmap->height) : "absent";
}

}  // namespace vaultmere
