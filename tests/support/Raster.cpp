// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/Raster.h"

#include <array>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace vaultmere {

namespace {

struct Point {
  double x = 0;
  double y = 0;
};

// Where a stored point lies in the picture as it is shown.
Point shownAt(Point stored, int orientation) {
  const Point at = orientation < 5 ? stored : Point{stored.y, stored.x};
  const int mirroring = (orientation - 1) % 4;  // none, left to right, both, top to bottom
  return {mirroring == 1 || mirroring == 2 ? 1 - at.x : at.x, mirroring >= 2 ? 1 - at.y : at.y};
}

std::uint8_t luminance(Colour colour) {
  return static_cast<std::uint8_t>(
      std::lround(0.2126 * colour.red + 0.7152 * colour.green + 0.0722 * colour.blue));
}

std::array<std::uint8_t, 4> channels(Colour colour, int bands) {
  if (bands >= 3) return {colour.red, colour.green, colour.blue, colour.alpha};
  return {luminance(colour), colour.alpha, 0, 0};
}

Colour inverted(Colour colour) {
  const auto invert = [](std::uint8_t value) { return static_cast<std::uint8_t>(255 - value); };
  return {invert(colour.red), invert(colour.green), invert(colour.blue), colour.alpha};
}

}  // namespace

std::vector<std::uint8_t> paint(const RasterOptions& options, const Painter& painter) {
  if (options.width < 1 || options.height < 1) throw std::runtime_error("a picture without pixels");
  std::vector<std::uint8_t> pixels;
  pixels.reserve(static_cast<std::size_t>(options.width) *
                 static_cast<std::size_t>(options.height) *
                 static_cast<std::size_t>(options.bands * (options.wide ? 2 : 1)));
  for (int row = 0; row < options.height; ++row) {
    for (int column = 0; column < options.width; ++column) {
      const Point at = shownAt({(column + 0.5) / options.width, (row + 0.5) / options.height},
                               options.orientation);
      Colour colour = painter(at.x, at.y);
      if (options.negative) colour = inverted(colour);
      const auto values = channels(colour, options.bands);
      for (std::size_t band = 0; band < static_cast<std::size_t>(options.bands); ++band) {
        // Doubling the byte scales 0…255 to 0…65,535, in either byte order.
        pixels.push_back(values[band]);
        if (options.wide) pixels.push_back(values[band]);
      }
    }
  }
  return pixels;
}

}  // namespace vaultmere
