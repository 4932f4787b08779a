// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>

namespace vaultmere {

struct Colour {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  std::uint8_t alpha = 255;  ///< not premultiplied; heeded where the file has an alpha channel
  bool operator==(const Colour&) const = default;
};

/// Gives the colour at a point. Both coordinates run from 0 (left, top) to 1
/// (right, bottom) and are those of a pixel's centre, so that a picture looks
/// the same at every size. Must be free of side effects: any thread calls it.
using Painter = std::function<Colour(double x, double y)>;

/// `from` at share 0, `to` at 1; shares outside count as the nearer end.
[[nodiscard]] Colour mix(Colour from, Colour to, double share);

[[nodiscard]] Painter flat(Colour colour);
/// From the first colour at the left to the second at the right.
[[nodiscard]] Painter gradient(Colour left, Colour right);
/// One colour in the left half, the other in the right half.
[[nodiscard]] Painter halves(Colour left, Colour right);
/// One colour a quarter; tells all eight orientations apart.
[[nodiscard]] Painter quarters(Colour topLeft, Colour topRight, Colour bottomLeft,
                               Colour bottomRight);
/// Soft coloured spots on a coloured ground: each seed gives a picture that
/// nobody, and no difference hash, takes for another seed's.
[[nodiscard]] Painter spots(std::uint64_t seed);

}  // namespace vaultmere
