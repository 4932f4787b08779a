// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/web/Scenery.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string_view>

#include "platform/ThreadPool.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/DeterministicRandom.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {
namespace {

constexpr int kThumbnailSide = 400;
constexpr int kOriginalSide = 1280;
constexpr std::size_t kHills = 3;
constexpr Colour kSun{255, 250, 232};

Colour hsl(double hue, double saturation, double lightness) {
  const auto channel = [&](double offset) {
    const double place = std::fmod(offset + hue / 30, 12.0);
    const double share = std::clamp(std::min(place - 3, 9 - place), -1.0, 1.0);
    const double level = lightness - saturation * std::min(lightness, 1 - lightness) * share;
    return static_cast<std::uint8_t>(std::lround(255 * std::clamp(level, 0.0, 1.0)));
  };
  return {channel(0), channel(8), channel(4)};
}

/// The ground below an outline.
class Hill {
 public:
  Hill() = default;
  Hill(double height, double phase, double waves, Colour colour)
      : height_(height), colour_(colour) {
    for (std::size_t i = 0; i < kPlaces; ++i) {
      const double x = static_cast<double>(i) / kPlaces;
      tops_[i] = height - 0.06 * std::sin(phase + waves * x) - 0.02 * std::sin(3 * phase + 17 * x);
    }
  }
  [[nodiscard]] double height() const { return height_; }
  [[nodiscard]] bool covers(double x, double y) const {
    return y > tops_[static_cast<std::size_t>(x * kPlaces)];
  }
  [[nodiscard]] Colour at(double y) const { return mix(colour_, {0, 0, 0}, (y - height_) / 2); }

 private:
  static constexpr std::size_t kPlaces = kOriginalSide;
  double height_ = 0;
  Colour colour_;
  std::array<double, kPlaces> tops_{};
};

struct Landscape {
  Colour zenith;
  Colour horizon;
  double sunX = 0;
  double sunY = 0;
  double sunRadius = 0;
  std::array<Hill, kHills> hills{};

  [[nodiscard]] Colour at(double x, double y) const {
    for (std::size_t i = kHills; i-- > 0;) {
      if (hills[i].covers(x, y)) return hills[i].at(y);
    }
    const Colour sky = mix(zenith, horizon, y / hills.front().height());
    const double away = std::hypot(x - sunX, y - sunY) / sunRadius;
    return mix(kSun, sky, (away - 1) / 0.4);
  }
};

/// Most scenes are colourful; some are as pale as snow and fog, or nearly night.
Landscape landscape(DeterministicRandom& dice, bool isGrey) {
  const double hue = dice.below(360);
  const bool isPale = dice.chance(0.2);
  const double saturation = isGrey ? 0 : isPale ? 0.1 : dice.between(0.25, 0.8);
  const double light = isPale ? dice.between(0.05, 0.95) : dice.between(0.2, 0.75);
  const double contrast = isPale ? 0.2 : 0.6;
  Landscape scene{hsl(hue, saturation, light), hsl(hue + 25, saturation, light + 0.2)};
  scene.sunX = dice.between(0.1, 0.9);
  scene.sunY = dice.between(0.1, 0.45);
  scene.sunRadius = isGrey ? 0.001 : dice.between(0.03, 0.09);
  for (std::size_t i = 0; i < kHills; ++i) {
    const auto near = static_cast<double>(i) / kHills;
    const double tint = hue + dice.between(-40, 40);
    // Braces, since they throw the dice from left to right.
    scene.hills[i] = Hill{0.52 + 0.4 * near, dice.between(0, 6), dice.between(4, 11),
                          hsl(tint, saturation, light * (1 - contrast * (near + 0.2)))};
  }
  return scene;
}

Scene paint(const std::filesystem::path& folder, int number) {
  DeterministicRandom dice(static_cast<std::uint64_t>(number) + 1);
  const bool isPortrait = dice.chance(0.3);
  const Landscape look = landscape(dice, number % 9 == 8);
  const Painter painter = [&look](double x, double y) { return look.at(x, y); };
  const auto path = [&](std::string_view rest) {
    return folder / fmt::format("{}{}", number, rest);
  };
  const auto write = [&](std::string_view rest, int side) {
    const int other = side * 3 / 4;
    makeStill(path(rest), {.width = isPortrait ? other : side,
                           .height = isPortrait ? side : other,
                           .painter = painter,
                           .quality = 80});
    return path(rest);
  };
  Scene scene;
  scene.thumbnail = write("-thumbnail.jpg", kThumbnailSide);
  if (number % kOriginalEvery == 0) {
    scene.original = write(".jpg", kOriginalSide);
  }
  if (number % kClipEvery == 0) {
    scene.clip = path(".mp4");
    makeClip(*scene.clip, {.width = 640, .height = 480, .seconds = 0.3, .painter = painter});
  }
  const auto sample = PixelStats::downscaled(scene.thumbnail, PixelStats::kSamplePixels);
  scene.colour = PixelStats::analyze(sample.value()).value();
  scene.width = isPortrait ? 3024 : 4032;
  scene.height = isPortrait ? 4032 : 3024;
  return scene;
}

}  // namespace

std::vector<Scene> paintScenes(const std::filesystem::path& folder, int count) {
  std::filesystem::create_directories(folder);
  std::vector<Scene> scenes(static_cast<std::size_t>(count));
  ThreadPool pool(activeProcessors());
  for (int number = 0; number < count; ++number) {
    pool.post([&, number] { scenes[static_cast<std::size_t>(number)] = paint(folder, number); });
  }
  pool.join();
  return scenes;
}

}  // namespace vaultmere
