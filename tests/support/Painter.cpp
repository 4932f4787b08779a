// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/Painter.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/support/DeterministicRandom.h"

namespace vaultmere {

namespace {

std::uint8_t between(std::uint8_t from, std::uint8_t to, double share) {
  const double value = from + (to - from) * std::clamp(share, 0.0, 1.0);
  return static_cast<std::uint8_t>(std::lround(value));
}

}  // namespace

Colour mix(Colour from, Colour to, double share) {
  return {between(from.red, to.red, share), between(from.green, to.green, share),
          between(from.blue, to.blue, share), between(from.alpha, to.alpha, share)};
}

Painter flat(Colour colour) {
  return [colour](double, double) { return colour; };
}

Painter gradient(Colour left, Colour right) {
  return [left, right](double x, double) { return mix(left, right, x); };
}

Painter halves(Colour left, Colour right) {
  return [left, right](double x, double) { return x < 0.5 ? left : right; };
}

Painter quarters(Colour topLeft, Colour topRight, Colour bottomLeft, Colour bottomRight) {
  return [=](double x, double y) {
    if (y < 0.5) return x < 0.5 ? topLeft : topRight;
    return x < 0.5 ? bottomLeft : bottomRight;
  };
}

Painter spots(std::uint64_t seed) {
  struct Spot {
    double x, y, radius;
    Colour colour;
  };
  DeterministicRandom random(seed);
  const auto next = [&random] { return random.fraction(); };
  const auto nextColour = [&next] {
    const auto channel = [&next] { return static_cast<std::uint8_t>(next() * 255.0); };
    const std::uint8_t red = channel();
    const std::uint8_t green = channel();
    return Colour{red, green, channel()};
  };
  const Colour ground = nextColour();
  std::array<Spot, 12> all{};
  for (Spot& spot : all) {
    spot.x = next();
    spot.y = next();
    spot.radius = 0.1 + 0.2 * next();
    spot.colour = nextColour();
  }
  return [ground, all](double x, double y) {
    Colour colour = ground;
    for (const Spot& spot : all) {
      const double distance = std::hypot(x - spot.x, y - spot.y) / spot.radius;
      if (distance < 1) colour = mix(colour, spot.colour, 3 * (1 - distance));
    }
    return colour;
  };
}

}  // namespace vaultmere
