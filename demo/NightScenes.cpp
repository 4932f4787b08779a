// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>
#include <optional>

#include "demo/Scenes.h"

namespace vaultmere::demo {

namespace {

constexpr double kAspect = 4.0 / 3.0;

// A few bright points on a fine grid.
double starlight(const Noise& noise, double x, double y) {
  constexpr double kGrid = 90;
  const auto column = static_cast<long>(std::floor(x * kAspect * kGrid));
  const auto row = static_cast<long>(std::floor(y * kGrid));
  const double size = noise.cell(column, row);
  if (size < 0.72) return 0;
  const double starX = static_cast<double>(column) + 0.2 + 0.6 * noise.cell(column + 97, row);
  const double starY = static_cast<double>(row) + 0.2 + 0.6 * noise.cell(column, row + 31);
  const double away = std::hypot(x * kAspect * kGrid - starX, y * kGrid - starY);
  const double bright = (size - 0.72) / 0.28;
  return (0.3 + 1.1 * bright) * smoothstep(0.1 + 0.12 * bright, 0.02, away);
}

// The colour of the towers at a point, if one is there.
std::optional<LinearColour> tower(const Ramp& sky, const Noise& noise, double x, double y) {
  constexpr double kGround = 0.76;
  for (int row = 2; row >= 0; --row) {
    const double width = 0.03 + 0.018 * row;
    const double place = x / width + 0.37 * row;
    const auto building = static_cast<long>(std::floor(place));
    const double within = place - static_cast<double>(building);
    const double middle = 1 - std::pow(1.7 * std::abs(x - 0.52), 1.4);
    const double tall = std::pow(noise.cell(building, row), 1.5);
    const double height = (0.06 + 0.5 * tall * std::max(middle, 0.1)) * (1.12 - 0.3 * row);
    if (within < 0.1 || y < kGround - height || y > kGround) continue;
    const LinearColour wall = mix(sky.at(0.85), rgb(0x0a0f1c), 0.6 + 0.16 * row);
    const double floors = (kGround - y) / 0.0135;
    const double panes = (within - 0.1) / 0.9 * (4 + row);
    const bool frame = floors - std::floor(floors) < 0.45 || panes - std::floor(panes) < 0.4;
    const double lamp =
        noise.cell(7 * building + static_cast<long>(panes), static_cast<long>(floors));
    if (frame || lamp < 0.66) return wall;
    const double warm = noise.cell(building, static_cast<long>(floors));
    return mix(wall, mix(rgb(0xffb84f), rgb(0xfff1cf), warm), 0.85);
  }
  return std::nullopt;
}

}  // namespace

Painter skyline(const Ramp& sky, std::uint64_t seed) {
  return [sky, noise = Noise(seed)](double x, double y) {
    const auto shown = [&](double atX, double atY) {
      if (const auto building = tower(sky, noise, atX, atY)) return *building;
      const double cloud = noise.rough(3 * atX, 9 * atY, 4);
      return mix(sky.at(atY / 0.76), sky.at(1), 0.5 * smoothstep(0.5, 0.75, cloud));
    };
    constexpr double kWater = 0.76;
    if (y < kWater) return colour(shown(x, y));
    const double wave = noise.rough(5 * x, 150 * (y - 0.7), 3) - 0.5;
    LinearColour mirrored{};
    for (const double reach : {0.6, 0.9, 1.3}) {
      mirrored = mirrored + shown(x + 0.02 * wave, kWater - reach * (y - kWater) - 0.004) * 0.33;
    }
    return colour(mix(mirrored * (0.85 + 0.5 * wave), rgb(0x0a1224), 0.3));
  };
}

Painter stars(std::uint64_t seed) {
  const Ramp sky{0x050a1c, 0x0b1836, 0x1d2f5c, 0x4a4a78};
  return [sky, noise = Noise(seed)](double x, double y) {
    const double hill = 0.84 - 0.1 * (noise.rough(2.5 * x, 8, 5) - 0.3);
    if (y > hill) return colour(rgb(0x04060b) * (1 + noise.rough(20 * x, 20 * y)));
    const double along = (x - 0.2) * 0.8 + (1 - y) * 0.5;
    const double across = (x - 0.62) * 0.75 + (y - 0.4) * 0.62;
    const double dust = noise.rough(5 * along + 2, 9 * across + 4, 6);
    const double band = std::exp(-26 * across * across) * (0.3 + dust);
    LinearColour shown = sky.at(y);
    shown = shown + mix(rgb(0x5a4a8a), rgb(0xf0c9a8), dust) * (0.62 * band);
    const double lane = std::exp(-260 * std::pow(across + 0.12 * (dust - 0.5), 2));
    shown = mix(shown, rgb(0x120c1c), 0.6 * lane * smoothstep(0.4, 0.6, dust));
    const double more = starlight(noise, x, y) + band * starlight(noise, 2.3 * x + 3, 2.3 * y);
    return colour(shown + rgb(0xeef3ff) * more);
  };
}

namespace {

struct Curtain {
  Outline foot;
  Outline height;
  Outline rays;
};

Curtain curtain(const Noise& noise, int band) {
  const auto fold = [&noise, band](double x) { return noise.rough(1.7 * x + 4.1 * band, band, 4); };
  return {Outline([&](double x) { return 0.34 + 0.15 * band + 0.34 * (fold(x) - 0.5); }),
          Outline([&](double x) { return 0.28 + 0.1 * noise.at(5 * x, band); }),
          Outline([&](double x) {
            return 0.45 + 0.8 * noise.rough(26 * x + 9 * fold(x), 1.5 * band, 2);
          })};
}

}  // namespace

Painter aurora(std::uint64_t seed) {
  const Ramp glow{0x2cff9a, 0x35e0b0, 0x6a5ad6, 0xb04fc0};
  const Noise noise(seed);
  const std::vector<Curtain> curtains{curtain(noise, 0), curtain(noise, 1), curtain(noise, 2)};
  const Outline ground([&noise](double x) { return 0.8 - 0.05 * (noise.rough(2 * x, 4) - 0.5); });
  return [glow, noise, curtains, ground](double x, double y) {
    if (y > ground.at(x)) {
      const double drift = noise.rough(4 * x, 18 * y, 4);
      const LinearColour snow = mix(rgb(0x1c3a56), rgb(0x7fb9b4), 0.2 + 0.7 * drift);
      return colour(snow * (0.8 - 0.3 * smoothstep(0.8, 1, y)));
    }
    LinearColour shown = mix(rgb(0x030a1e), rgb(0x0e2a44), y / 0.8);
    shown = shown + rgb(0xffffff) * (0.7 * starlight(noise, x, y));
    for (const Curtain& curtain : curtains) {
      const double up = (curtain.foot.at(x) - y) / curtain.height.at(x);
      if (up < -0.12) continue;
      const double bright = smoothstep(-0.12, 0.02, up) * std::exp(-2.6 * std::max(up, 0.0));
      shown = shown + glow.at(up) * (0.62 * bright * curtain.rays.at(x));
    }
    return colour(shown);
  };
}

}  // namespace vaultmere::demo
