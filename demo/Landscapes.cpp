// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>

#include "demo/Scenes.h"

namespace vaultmere::demo {

namespace {

LinearColour cloudedSky(const Ramp& sky, const Noise& noise, double x, double y, double horizon) {
  const double cloud = noise.rough(3 * x + 1, 7 * y + 2, 5);
  return mix(sky.at(y / horizon), rgb(0xffffff), 0.55 * smoothstep(0.52, 0.8, cloud));
}

// A row of firs of uneven height: how far they stand out above the ground.
double firs(const Noise& noise, double x, double width, long row) {
  double tallest = 0;
  const auto here = static_cast<long>(std::floor(x / width));
  for (long tree = here - 1; tree <= here + 1; ++tree) {
    const double middle = (static_cast<double>(tree) + 0.2 + 0.6 * noise.cell(tree, row)) * width;
    const double height = width * (1.6 + 2.2 * noise.cell(tree, row + 50));
    const double away = std::abs(x - middle) / (0.55 * width);
    tallest = std::max(tallest, height * (1 - away));
  }
  return tallest;
}

}  // namespace

namespace {

constexpr int kRidges = 6;
constexpr int kSnowy = 2;  // the first ridges; trees stand on the others

double nearness(int ridge) { return ridge / (kRidges - 1.0); }

Outline ridgeTop(const RidgeLook& look, const Noise& noise, int ridge) {
  const double near = nearness(ridge);
  return Outline([&look, &noise, ridge, near](double x) {
    double peak = noise.rough((1.6 + 1.4 * near) * x + 7.7 * ridge, 3.1 * ridge, 6);
    // High mountains are pointed where hills are round.
    if (look.snow > 0 && ridge < kSnowy) peak = 0.95 - 2.1 * std::abs(peak - 0.45);
    double top = 0.52 + 0.46 * near - look.height * (1 - 0.75 * near) * (peak - 0.25);
    if (look.trees > 0 && ridge >= kSnowy) {
      top -= look.trees * firs(noise, x, 0.012 + 0.022 * near, ridge);
    }
    return top;
  });
}

}  // namespace

Painter ridges(const RidgeLook& look, std::uint64_t seed) {
  const Noise noise(seed);
  std::vector<Outline> tops;
  tops.reserve(kRidges);
  for (int ridge = 0; ridge < kRidges; ++ridge) tops.push_back(ridgeTop(look, noise, ridge));
  return [look, noise, tops](double x, double y) {
    for (int ridge = kRidges - 1; ridge >= 0; --ridge) {
      const double near = nearness(ridge);
      const double below = y - tops[static_cast<std::size_t>(ridge)].at(x);
      if (below < 0) continue;
      const double rock = noise.rough(16 * x + ridge, 22 * y, 4);
      LinearColour land = look.land.at(near) * (0.8 + 0.4 * rock);
      if (ridge < kSnowy) {
        const double deep = below / look.height + 0.9 * (rock - 0.5) + 0.25 * ridge;
        const double cap = look.snow * smoothstep(0.46, 0.3, deep);
        land = mix(land * 0.8, rgb(0xf6f9ff) * (0.78 + 0.35 * rock), cap);
      }
      // Haze fills the valleys in front of the farther ridges.
      return colour(mix(land, look.land.at(0), (1 - near) * smoothstep(0, 0.3, below) * 0.55));
    }
    return colour(cloudedSky(look.sky, noise, x, y, 0.65));
  };
}

Painter dunes(const Ramp& sky, std::uint64_t seed) {
  const Ramp lit{0xf3c98b, 0xe79a4a, 0xd9792f};
  const Ramp shade{0xa8603a, 0x7d3d22, 0x57230f};
  return [sky, lit, shade, noise = Noise(seed)](double x, double y) {
    constexpr int kDunes = 5;
    for (int dune = kDunes - 1; dune >= 0; --dune) {
      const double near = dune / (kDunes - 1.0);
      const double shift = 9.7 * noise.cell(dune, 1);
      const double width = 1.3 + 0.5 * (1 - near);
      const double wave = noise.at(width * x + shift, 0.5 + dune);
      const double top = 0.42 + 0.5 * near - (0.3 - 0.1 * near) * (wave - 0.3);
      if (y < top) continue;
      // The crest runs down the dune; the wind's side is lit, the other dark.
      const double crest = noise.at(width * x + shift + 2.4 * (y - top), 0.5 + dune);
      const double slope = noise.at(width * x + shift + 0.02 + 2.4 * (y - top), 0.5 + dune) - crest;
      const double ripple = 0.5 + 0.5 * std::sin(260 * (y - top) / (0.3 + near) + 30 * crest);
      const LinearColour sunny = lit.at(near + 0.4 * (y - top)) * (0.93 + 0.09 * ripple);
      return colour(mix(sunny, shade.at(near), smoothstep(-0.004, 0.012, slope)));
    }
    return colour(sky.at(y / 0.55));
  };
}

Painter field(const Ramp& sky, const Ramp& crop, std::uint64_t seed) {
  constexpr double kSkyline = 0.4;
  return [sky, crop, noise = Noise(seed)](double x, double y) {
    const double hills = kSkyline - 0.09 * noise.rough(3 * x, 1);
    if (y < hills) return colour(cloudedSky(sky, noise, x, y, kSkyline));
    if (y < kSkyline) {
      return colour(mix(rgb(0x6b86a6), rgb(0x4f6f55), smoothstep(hills, kSkyline, y)));
    }
    const double distance = 1 / (y - kSkyline + 0.02);
    const double across = (x - 0.5) * distance;
    const double row = 0.5 + 0.5 * std::cos(7.5 * across);
    const double tuft = noise.rough(30 * across, 9 * distance, 3);
    const double bloom = smoothstep(0.25, 0.75, row + 0.6 * (tuft - 0.5));
    const LinearColour plant = crop.at(0.15 + 0.85 * bloom * (0.6 + 0.6 * tuft));
    return colour(mix(plant, crop.at(0.75), smoothstep(10, 45, distance)));
  };
}

Painter wood(const Ramp& leaves, std::uint64_t seed) {
  return [leaves, noise = Noise(seed)](double x, double y) {
    const double glow = std::exp(-6 * std::pow(std::hypot(x - 0.55, 0.7 * (y - 0.45)), 2));
    LinearColour shown = mix(leaves.at(0.25), leaves.at(1), 0.25 + 0.75 * glow);
    for (int layer = 0; layer < 3; ++layer) {
      const double near = (layer + 1) / 3.0;
      const double width = 0.05 + 0.07 * near;
      const double bend = 0.03 * (noise.at(2, 2 * y + 3 * layer) - 0.5);
      const auto trunk = static_cast<long>(std::floor((x + bend) / width));
      const double middle = 0.3 + 0.4 * noise.cell(trunk, layer);
      const double away = std::abs((x + bend) / width - static_cast<double>(trunk) - middle);
      const double thick = (0.04 + 0.1 * noise.cell(trunk, layer + 9)) * (0.7 + 0.5 * y);
      const double bark = 0.7 + 0.6 * noise.rough(90 * x, 14 * y, 2);
      const LinearColour stem = mix(shown, rgb(0x2a1a12) * bark, 0.35 + 0.6 * near);
      if (noise.cell(trunk, layer + 20) < 0.75)
        shown = mix(shown, stem, smoothstep(thick, 0.8 * thick, away));
      const double foliage = noise.rough(9 * x + 5 * layer, 9 * y + layer, 4);
      const double where = smoothstep(0.75, 0.25, y) + 0.9 * smoothstep(0.8, 0.97, y);
      const double leaf = smoothstep(0.62 - 0.2 * where, 0.7 - 0.2 * where, foliage);
      const double shine = noise.rough(40 * x, 40 * y + layer, 2);
      shown = mix(shown, leaves.at(0.15 + 0.25 * near + 0.75 * (shine - 0.2)), 0.8 * leaf);
    }
    return colour(shown + leaves.at(1) * (0.22 * glow));
  };
}

}  // namespace vaultmere::demo
