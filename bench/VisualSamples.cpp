// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/VisualSamples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>

#include "demo/Scenes.h"
#include "tests/support/DeterministicRandom.h"

namespace vaultmere::bench {
namespace {

using Seed = std::uint64_t;

constexpr Colour kPaper{250, 249, 245};
constexpr Colour kInk{25, 25, 30};

/// A number in [0, 1) that a place decides.
double noiseAt(Seed seed, int column, int row) {
  std::uint64_t mixed = seed * 0x9E37'79B9'7F4A'7C15UL ^
                        static_cast<std::uint64_t>(column) * 0xBF58'476D'1CE4'E5B9UL ^
                        static_cast<std::uint64_t>(row) * 0x94D0'49BB'1331'11EBUL;
  mixed = (mixed ^ mixed >> 30U) * 0xBF58'476D'1CE4'E5B9UL;
  mixed = (mixed ^ mixed >> 27U) * 0x94D0'49BB'1331'11EBUL;
  return static_cast<double>((mixed ^ mixed >> 31U) >> 11U) * 0x1.0p-53;
}

int cell(double place, int cells) { return static_cast<int>(std::floor(place * cells)); }

Painter landscape(int kind, Seed seed) {
  namespace d = demo;
  switch (kind) {
    case 0:
      return d::ridges({.sky = {0x5f7fc0, 0xa9b7de, 0xf7d3d0},
                        .land = {0xd8bcd0, 0xa58cb8, 0x6f6699, 0x3b3d66},
                        .snow = 0.6,
                        .trees = 0.5},
                       seed);
    case 1:
      return d::dunes({0x3f86c8, 0x9cc7e4, 0xf3dcb4}, seed);
    case 2:
      return d::field({0x3a8ad0, 0xa4d2ee, 0xf4f4e4}, {0x3a5a1c, 0xc79a18, 0xffd93a}, seed);
    case 3:
      return d::wood({0x7a2410, 0xd2521a, 0xf08a24, 0xffd36a}, seed);
    case 4:
      return d::sea({.sky = {0x2b2a5c, 0x7a4a86, 0xe0785a, 0xffc06a}}, seed);
    case 5:
      return d::beach(seed);
    case 6:
      return d::blossom({0xd04070, 0xf080a0}, 0xf0d040, 9, seed);
    default:
      return d::balloons(seed);
  }
}

Painter night(int kind, Seed seed) {
  switch (kind) {
    case 0:
      return demo::stars(seed);
    case 1:
      return demo::aurora(seed);
    default:
      return demo::skyline({0x05060c, 0x0a0c18, 0x141228}, seed);
  }
}

/// One of several shots of a scene, held by hand, with somebody walking through.
Painter shotOfSeries(Painter scene, int shot, Seed seed) {
  const double x0 = 0.01 * (noiseAt(seed, shot, 1) - 0.5) + 0.01;
  const double y0 = 0.01 * (noiseAt(seed, shot, 2) - 0.5) + 0.01;
  const double walker = 0.2 + 0.1 * shot;
  return [=](double x, double y) {
    if (std::hypot((x - walker) * 1.33, y - 0.7) < 0.05) {
      return kInk;
    }
    return scene(x0 + 0.98 * x, y0 + 0.98 * y);
  };
}

Painter clearSky(Seed seed) {
  DeterministicRandom random(seed);
  const auto blue = [&](double low, double high) {
    const double level = random.between(low, high);
    return Colour{static_cast<std::uint8_t>(level * 0.45), static_cast<std::uint8_t>(level * 0.7),
                  static_cast<std::uint8_t>(level)};
  };
  const Colour top = blue(150, 210);
  const Colour bottom = blue(200, 255);
  const double slant = random.between(-0.3, 0.3);
  return [=](double x, double y) { return mix(top, bottom, y + slant * (x - 0.5)); };
}

bool isInk(double x, double y, Seed seed, int lines, int letters) {
  const int line = cell(y, lines);
  const double inLine = y * lines - line;
  const int letter = cell(x, letters);
  const bool isBlank = noiseAt(seed, letter, line) < 0.17;
  const double length = noiseAt(seed, -1, line) < 0.2 ? 0.5 : 1;  // ends of paragraphs
  return x < length && !isBlank && inLine > 0.25 && inLine < 0.75 &&
         noiseAt(seed, letter * 7 + cell(x * letters - letter, 3), line * 5 + cell(inLine, 6)) <
             0.55;
}

Painter textPage(Seed seed) {
  return [seed](double x, double y) {
    const bool isInside = x > 0.1 && x < 0.9 && y > 0.08 && y < 0.92;
    return isInside && isInk((x - 0.1) / 0.8, (y - 0.08) / 0.84, seed, 40, 70) ? kInk : kPaper;
  };
}

/// The window of one program, with other lines in it each time.
Painter screenshot(Seed seed) {
  return [seed](double x, double y) {
    if (y < 0.06) {
      return Colour{60, 64, 72};
    }
    if (x < 0.2) {
      return isInk(x / 0.2, y, 1, 30, 20) ? Colour{90, 94, 102} : Colour{232, 234, 238};
    }
    const int entry = cell(y, 12);
    if (x < 0.26 && noiseAt(seed, 3, entry) < 0.5) {
      return Colour{70, static_cast<std::uint8_t>(110 + 100 * noiseAt(seed, 4, entry)), 200};
    }
    const bool isText = x > 0.28 && x < 0.3 + 0.6 * noiseAt(seed, 5, entry);
    return isText && isInk((x - 0.28) / 0.7, y, seed, 36, 60) ? kInk : Colour{255, 255, 255};
  };
}

SampleKind kindOf(std::string name, int count, const std::function<Painter(int)>& make) {
  SampleKind kind{std::move(name), {}};
  for (int i = 0; i < count; ++i) {
    kind.pictures.push_back(make(i));
  }
  return kind;
}

Seed seedOf(int number) { return static_cast<Seed>(number) + 100; }

}  // namespace

std::vector<SampleKind> visualSamples() {
  return {
      kindOf("landscapes", 120, [](int i) { return landscape(i % 8, seedOf(i)); }),
      kindOf("abstract spots", 60, [](int i) { return spots(seedOf(i)); }),
      kindOf("series of five", 100,
             [](int i) {
               return shotOfSeries(landscape(i / 5 % 8, seedOf(1000 + i / 5)), i % 5, seedOf(i));
             }),
      kindOf("clear skies", 60, [](int i) { return clearSky(seedOf(i)); }),
      kindOf("night shots", 60, [](int i) { return night(i % 3, seedOf(i)); }),
      kindOf("text pages", 60, [](int i) { return textPage(seedOf(i)); }),
      kindOf("screenshots", 60, [](int i) { return screenshot(seedOf(i)); }),
  };
}

}  // namespace vaultmere::bench
