// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>

#include "demo/Scenes.h"

namespace vaultmere::demo {

namespace {

constexpr double kAspect = 4.0 / 3.0;
constexpr double kHorizon = 0.6;

LinearColour skyAt(const SeaLook& look, const Noise& noise, double x, double y) {
  LinearColour sky = look.sky.at(y / kHorizon);
  const double cloud = noise.rough(4 * x, 3 + 14 * y * (0.4 + y), 5);
  const double cover = smoothstep(0.62 - 0.2 * look.clouds, 0.9 - 0.2 * look.clouds, cloud);
  const LinearColour lit = mix(look.sky.at(1), rgb(look.sun), 0.35);
  sky = mix(sky, mix(lit, look.sky.at(0.3), smoothstep(0.6, 0.9, cloud)), 0.8 * cover);
  const double distance = std::hypot((x - look.sunX) * kAspect, y - look.sunY);
  sky = sky + rgb(look.sun) * (0.5 * std::exp(-9 * distance) * (1 - 0.5 * cover));
  return mix(sky, rgb(look.sun) * 1.1, smoothstep(0.052, 0.045, distance));
}

}  // namespace

Painter sea(const SeaLook& look, std::uint64_t seed) {
  return [look, noise = Noise(seed)](double x, double y) {
    if (y < kHorizon) return colour(skyAt(look, noise, x, y));
    const double depth = (y - kHorizon) / (1 - kHorizon);
    // Waves look longer the nearer they are.
    const double wave = noise.rough(x * 6 / (0.15 + depth), 40 * std::sqrt(depth), 3);
    const double mirrored = kHorizon - (y - kHorizon) * 1.2 - 0.06 * (wave - 0.5);
    const LinearColour reflected =
        skyAt(look, noise, x + 0.04 * (wave - 0.5), std::max(mirrored, 0.0));
    LinearColour water = mix(reflected * 0.85, rgb(look.sea), 0.35 + 0.45 * depth);
    water = water * (0.82 + 0.36 * wave);
    const double path = std::abs(x - look.sunX) / (0.03 + 0.16 * depth);
    const double glitter = smoothstep(0.5, 0.75, wave) * std::exp(-path * path);
    return colour(water + rgb(look.sun) * (0.75 * glitter));
  };
}

Painter beach(std::uint64_t seed) {
  const Ramp water{0xbff4e6, 0x5fdcd2, 0x22b8c8, 0x0f8fb5, 0x0b6a9c};
  const Ramp sand{0xe9d3a3, 0xf6e7c4};
  return [water, sand, noise = Noise(seed)](double x, double y) {
    const double bend = 0.12 * std::sin(2.6 * x + 0.8) + 0.14 * (noise.rough(2 * x, 0.5) - 0.5);
    const double out = 0.6 - 0.25 * x + bend - y;  // how far out at sea
    const double grain = noise.rough(60 * x, 45 * y, 2);
    if (out < 0) {
      const double wet = smoothstep(-0.09, 0, out);
      const LinearColour dry =
          sand.at(0.25 + 0.6 * noise.rough(5 * x, 5 * y) + 0.25 * (grain - 0.5));
      return colour(mix(dry, rgb(0xc7a877), 0.7 * wet));
    }
    const double reef = noise.rough(7 * x, 7 * y + 3);
    LinearColour shown = water.at(2.1 * out + 0.35 * (reef - 0.5));
    shown =
        mix(shown, rgb(0x0a5f6b), 0.55 * smoothstep(0.62, 0.75, reef) * smoothstep(0.05, 0.2, out));
    const double ripple = std::abs(noise.rough(16 * x, 22 * y, 3) - 0.5);
    shown = shown + rgb(0xffffff) * (0.22 * smoothstep(0.06, 0, ripple));
    for (const double line : {0.0, 0.055, 0.13}) {
      const double width = 0.016 * (0.4 + noise.rough(14 * x, 9 * line + 4 * y));
      const double foam =
          smoothstep(width, 0.2 * width, std::abs(out - line - 0.03 * (reef - 0.5)));
      shown = mix(shown, rgb(0xffffff), (0.95 - 3 * line) * foam);
    }
    return colour(shown);
  };
}

Painter waterfall(std::uint64_t seed) {
  const Ramp rock{0x14191b, 0x2d3533, 0x4d5750};
  const Ramp moss{0x1f3a1c, 0x4f7d2c};
  return [rock, moss, noise = Noise(seed)](double x, double y) {
    const double wander = 0.05 * (noise.rough(3, 3 * y) - 0.5);
    const double side = std::abs(x - 0.5 - wander) / (0.1 + 0.07 * y);
    const double strands = noise.rough(40 * x, 5 * y, 4);
    if (y > 0.83) {
      const double wave = noise.rough(12 * x, 90 * (y - 0.8));
      const double foam = smoothstep(2.6, 0.2, side) * smoothstep(0.98, 0.83, y);
      return colour(mix(mix(rgb(0x0f3a44), rgb(0x2f7f86), wave), rgb(0xf2fbff), foam));
    }
    const double stone = noise.rough(9 * x, 7 * y, 5);
    LinearColour shown = rock.at(1.6 * (stone - 0.2));
    const double green =
        smoothstep(0.5, 0.66, noise.rough(4 * x + 9, 4 * y)) * smoothstep(1.2, 3, side);
    shown = mix(shown, moss.at(1.5 * (stone - 0.15)), green);
    if (y < 0.16) shown = mix(rgb(0xcfe3ee), shown, smoothstep(0.02, 0.05, y - 0.16 * stone));
    const double fall =
        smoothstep(1.15, 0.75, side + 0.5 * (strands - 0.5)) * smoothstep(0.07, 0.1, y);
    shown = mix(shown, mix(rgb(0x9fc4d6), rgb(0xffffff), strands * 1.3), fall);
    const double spray = smoothstep(0.6, 0.83, y) * std::exp(-0.9 * side);
    return colour(mix(shown, rgb(0xe8f4f8), 0.75 * spray));
  };
}

}  // namespace vaultmere::demo
