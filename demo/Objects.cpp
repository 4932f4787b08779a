// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

#include "demo/Scenes.h"

namespace vaultmere::demo {

namespace {

constexpr double kAspect = 4.0 / 3.0;

struct Balloon {
  double x, y, radius;
  std::uint32_t first, second;
};

constexpr std::array<Balloon, 7> kBalloons{{{0.3, 0.34, 0.15, 0xd8342f, 0xf7c948},
                                            {0.68, 0.22, 0.09, 0x2f6fd8, 0xf4f1e4},
                                            {0.84, 0.47, 0.11, 0xe9722e, 0x7a2f8f},
                                            {0.55, 0.5, 0.05, 0x2fa36b, 0xf3d45b},
                                            {0.12, 0.58, 0.04, 0xc03a7a, 0xf6e6d0},
                                            {0.47, 0.14, 0.035, 0xd8342f, 0xf4f1e4},
                                            {0.93, 0.16, 0.03, 0xf2b632, 0x7b3f1d}}};

// True, with its colour, when the point is on the balloon.
bool onBalloon(const Balloon& balloon, double x, double y, LinearColour& shown) {
  const double across = (x - balloon.x) * kAspect / balloon.radius;
  const double down = (y - balloon.y) / balloon.radius;
  const bool basket = std::abs(across) < 0.13 && down > 1.5 && down < 1.72;
  if (basket) {
    shown = light(0x5b3a20);
    return true;
  }
  // Round above, drawn in to the mouth below.
  const double wide = down < 0.2 ? std::sqrt(std::max(0.0, 1 - down * down * 0.96))
                                 : 0.98 - 0.62 * std::pow((down - 0.2) / 1.1, 1.3);
  if (down < -1 || down > 1.3 || std::abs(across) > wide) return false;
  const double round = across / wide;
  const double angle = std::asin(std::clamp(round, -1.0, 1.0));
  const bool even = static_cast<int>(std::floor(angle * 3.2 + 20)) % 2 == 0;
  const double shine = 1.12 - 0.5 * std::pow((round + 0.45) / 1.45, 2);
  shown = light(even ? balloon.first : balloon.second) * shine;
  return true;
}

bool inside(double x, double y, double left, double top, double right, double bottom) {
  return x >= left && x < right && y >= top && y < bottom;
}

}  // namespace

Painter blossom(const Ramp& petals, std::uint32_t heart, int count, std::uint64_t seed) {
  return [petals, heart, count, noise = Noise(seed)](double x, double y) {
    const double dx = (x - 0.5) * kAspect;
    const double dy = y - 0.48;
    const double away = std::hypot(dx, dy);
    const double angle = std::atan2(dy, dx);
    LinearColour shown =
        mix(light(0x1d3a1b), light(0x8fbf4d), 1.3 * noise.rough(3 * x, 3 * y, 2) - 0.15);
    const double stem = std::abs(dx - 0.08 * (y - 0.5)) / 0.012;
    if (y > 0.5) shown = mix(shown, light(0x3f7a2a), step(1.2, 0.8, stem));
    // Three rings of petals, the outer ones first.
    for (int ring = 0; ring < 3; ++ring) {
      const double reach = 0.4 - 0.09 * ring;
      if (away > reach + 0.05) continue;
      const double turn = angle * count / 2 + ring * std::numbers::pi / 3 + 0.4 * ring;
      const double edge = reach * (0.52 + 0.48 * std::pow(std::abs(std::cos(turn)), 0.55));
      if (away > edge) {
        shown = shown * (1 - 0.35 * step(edge + 0.05, edge, away));
        continue;
      }
      const double vein = noise.rough(angle * 14 + ring, 3 * away, 2);
      const double fold = 0.6 + 0.4 * std::abs(std::cos(turn));
      shown = petals.at(away / edge * 0.85 + 0.3 * (vein - 0.5)) * (0.72 + 0.36 * fold);
    }
    if (away < 0.085) {
      const double seedling = noise.rough(60 * x, 45 * y, 2);
      shown = light(heart) * (0.6 + 0.7 * seedling) * (1.1 - 3 * away);
    }
    return colour(shown);
  };
}

Painter balloons(std::uint64_t seed) {
  const Painter land = ridges({.sky = {0x6fa8dc, 0xbcd9ee, 0xffe3c2, 0xffc9a0},
                               .land = {0xe3c2ae, 0xc99a7c, 0xa8714f, 0x6e4a33},
                               .height = 0.28},
                              seed);
  return [land](double x, double y) {
    LinearColour shown{};
    for (const Balloon& balloon : kBalloons) {
      if (onBalloon(balloon, x, y, shown)) return colour(shown);
    }
    return land(x, y);
  };
}

Painter screen() {
  return [noise = Noise(11)](double x, double y) {
    if (y < 0.035) return Colour{28, 31, 38};
    if (!inside(x, y, 0.08, 0.1, 0.92, 0.93))
      return colour(mix(light(0x3b6ea8), light(0x7a4b9c), x));
    if (y < 0.155) {
      for (int lamp = 0; lamp < 3; ++lamp) {
        const double away = std::hypot((x - 0.105 - 0.022 * lamp) * kAspect, y - 0.128);
        if (away < 0.009)
          return colour(light(
              std::array{0xff5f57U, 0xfebc2eU, 0x28c840U}.at(static_cast<std::size_t>(lamp))));
      }
      return Colour{226, 228, 232};
    }
    const auto line = static_cast<long>((y - 0.155) / 0.045);
    const double within = (y - 0.155) / 0.045 - static_cast<double>(line);
    const bool inLine = within > 0.35 && within < 0.65;
    if (x < 0.26) {
      const bool text = inLine && x > 0.11 && x < 0.15 + 0.09 * noise.cell(line, 1);
      if (line == 2) return text ? Colour{255, 255, 255} : Colour{58, 120, 220};
      return text ? Colour{120, 126, 138} : Colour{240, 242, 245};
    }
    if (inside(x, y, 0.3, 0.21, 0.88, 0.5)) {
      const double level = 0.47 - 0.2 * noise.rough(6 * (x - 0.3), 2);
      return y > level ? colour(mix(light(0x57b6a8), light(0xd9f0ea), (y - level) / 0.3))
                       : Colour{248, 250, 252};
    }
    const bool text = inLine && x > 0.3 && x < 0.6 + 0.26 * noise.cell(line, 2) && line > 7;
    return text ? Colour{96, 100, 110} : Colour{255, 255, 255};
  };
}

Painter sticker() {
  return [](double x, double y) {
    const double away = std::hypot(x - 0.5, y - 0.5);
    if (away > 0.46) return Colour{0, 0, 0, 0};
    if (away > 0.42) return Colour{255, 255, 255, 255};
    const double eyes = std::hypot((std::abs(x - 0.5) - 0.14) * 1.5, y - 0.42);
    if (eyes < 0.07) return Colour{60, 42, 20, 255};
    const double mouth = std::hypot(x - 0.5, y - 0.5);
    if (mouth > 0.22 && mouth < 0.27 && y > 0.56) return Colour{60, 42, 20, 255};
    const double cheek = std::hypot(std::abs(x - 0.5) - 0.27, y - 0.56);
    return colour(mix(mix(light(0xffe25a), light(0xf5a623), y), light(0xf0785a),
                      0.7 * step(0.09, 0.03, cheek)));
  };
}

Painter monochrome(Painter picture) {
  return [picture = std::move(picture)](double x, double y) {
    const Colour seen = picture(x, y);
    const double grey = (0.35 * seen.red + 0.5 * seen.green + 0.15 * seen.blue) / 255;
    return colour(LinearColour{1, 1, 1} * mix({}, {1, 1, 1}, step(-0.05, 1.02, grey)).red);
  };
}

Painter throughLens(Painter picture) {
  return [picture = std::move(picture)](double x, double y) {
    const Colour seen = picture(x, y);
    const double away = std::hypot(x - 0.5, y - 0.5);
    return vaultmere::mix(seen, {0, 0, 0, seen.alpha}, 0.38 * step(0.35, 0.85, away));
  };
}

}  // namespace vaultmere::demo
