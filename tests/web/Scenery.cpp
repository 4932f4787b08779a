// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/web/Scenery.h"

#include <fmt/format.h>

#include <algorithm>
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

Colour hsl(double hue, double saturation, double lightness) {
  const auto channel = [&](double offset) {
    const double place = std::fmod(offset + hue / 30, 12.0);
    const double share = std::clamp(std::min(place - 3, 9 - place), -1.0, 1.0);
    const double level = lightness - saturation * std::min(lightness, 1 - lightness) * share;
    return static_cast<std::uint8_t>(std::lround(255 * std::clamp(level, 0.0, 1.0)));
  };
  return {channel(0), channel(8), channel(4)};
}

/// Two neighbouring hues. Most pictures are colourful; some are as pale as snow and fog, or
/// nearly night.
Painter picture(DeterministicRandom& random, bool isGrey) {
  const double hue = random.below(360);
  const bool isPale = random.chance(0.2);
  const double saturation = isGrey ? 0 : isPale ? 0.1 : random.between(0.25, 0.8);
  const double lightness = isPale ? random.between(0.05, 0.95) : random.between(0.2, 0.75);
  return gradient(hsl(hue, saturation, lightness), hsl(hue + 25, saturation, lightness + 0.2));
}

Scene paint(const std::filesystem::path& folder, int number) {
  DeterministicRandom random(static_cast<std::uint64_t>(number) + 1);
  const bool isPortrait = random.chance(0.3);
  const Painter painter = picture(random, number % 9 == 8);
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
