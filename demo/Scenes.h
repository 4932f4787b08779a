// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "demo/ColourMath.h"
#include "tests/support/Painter.h"

// The demo's pictures. Each seed gives another picture of the same kind. They
// are made for 4:3, or 3:4 where that is said.
namespace vaultmere::demo {

struct SeaLook {
  Ramp sky;  ///< from the top to the horizon
  std::uint32_t sun = 0xfff2c0;
  double sunX = 0.5;
  double sunY = 0.5;    ///< the horizon is at 0.6
  double clouds = 0.5;  ///< 0 to 1
  std::uint32_t sea = 0x0b3a5c;
};
/// A low sun over the sea.
[[nodiscard]] Painter sea(const SeaLook& look, std::uint64_t seed);

/// A beach from high above: sand, surf and shallow water.
[[nodiscard]] Painter beach(std::uint64_t seed);

/// Water falling between dark rocks; 3:4.
[[nodiscard]] Painter waterfall(std::uint64_t seed);

struct RidgeLook {
  Ramp sky;             ///< from the top down
  Ramp land;            ///< from the farthest ridge to the nearest
  double snow = 0;      ///< 0 to 1, how far it comes down from the peaks
  double trees = 0;     ///< 0 to 1, how high they stand on the nearest ridges
  double height = 0.5;  ///< of the mountains
};
/// Ridge behind ridge, in haze.
[[nodiscard]] Painter ridges(const RidgeLook& look, std::uint64_t seed);

/// Sand dunes in slanting light.
[[nodiscard]] Painter dunes(const Ramp& sky, std::uint64_t seed);

/// Rows of a field that run to the horizon.
[[nodiscard]] Painter field(const Ramp& sky, const Ramp& crop, std::uint64_t seed);

/// A wood: trunks, and leaves in the colours of the ramp.
[[nodiscard]] Painter wood(const Ramp& leaves, std::uint64_t seed);

/// Towers with lit windows above the water.
[[nodiscard]] Painter skyline(const Ramp& sky, std::uint64_t seed);

/// The Milky Way above dark hills.
[[nodiscard]] Painter stars(std::uint64_t seed);

/// Northern lights above snow.
[[nodiscard]] Painter aurora(std::uint64_t seed);

/// One blossom in front of a blurred meadow.
[[nodiscard]] Painter blossom(const Ramp& petals, std::uint32_t centre, int count,
                              std::uint64_t seed);

/// Hot-air balloons in the morning.
[[nodiscard]] Painter balloons(std::uint64_t seed);

/// What a screen shows.
[[nodiscard]] Painter screen();

/// A face cut out of transparent ground; 1:1.
[[nodiscard]] Painter sticker();

/// The same picture as a black and white film sees it.
[[nodiscard]] Painter monochrome(Painter picture);

/// The same picture a little darker towards its corners, as through a lens.
[[nodiscard]] Painter throughLens(Painter picture);

}  // namespace vaultmere::demo
