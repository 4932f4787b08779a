// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/CameraCard.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <future>

#include "platform/ThreadPool.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"

namespace vaultmere::bench {
namespace fs = std::filesystem;

namespace {

constexpr int kWidth = 4000;
constexpr int kHeight = 3000;
/// Pictures of one scene, which differ in what is embedded: painting takes far
/// longer than all that is measured.
constexpr int kShotsPerScene = 5;

/// Soft waves of colour under the grain of a sensor, without which the files
/// would be a tenth of the size.
Painter scene(std::uint64_t seed) {
  const auto phase = static_cast<double>(seed);
  const std::uint64_t depth = 30 + seed % 5 * 6;
  return [phase, seed, depth](double x, double y) {
    const double wave = std::sin(9 * x + phase) * std::sin(7 * y - phase);
    const auto column = static_cast<std::uint64_t>(x * kWidth);
    const auto row = static_cast<std::uint64_t>(y * kHeight);
    std::uint64_t grain = (row * kWidth + column + 1) * (2 * seed + 0x9E3779B97F4A7C15U);
    grain ^= grain >> 29U;
    grain *= 0xBF58476D1CE4E5B9U;
    const int noise = static_cast<int>((grain >> 32U) % depth) - static_cast<int>(depth / 2);
    const auto channel = [&](double base) {
      return static_cast<std::uint8_t>(static_cast<int>(base + 50 * wave) + noise);
    };
    return Colour{channel(90 + 60 * x), channel(120), channel(150 - 60 * y)};
  };
}

std::string stampOf(int number) {
  return fmt::format("2023:{:02}:{:02} {:02}:{:02}:{:02}", number % 12 + 1, number / 12 % 28 + 1,
                     number % 24, number % 60, number / 60 % 60);
}

Metadata notesOf(int number) {
  Metadata notes;
  notes.exif = {{"Exif.Image.Make", "Halden"},
                {"Exif.Image.Model", "Halden H1"},
                {"Exif.Photo.DateTimeOriginal", stampOf(number)},
                {"Exif.Photo.FNumber", "28/10"},
                {"Exif.Photo.ExposureTime", "1/250"},
                {"Exif.Photo.ISOSpeedRatings", "200"},
                {"Exif.Photo.FocalLength", "35/1"},
                {"Exif.Photo.LensModel", "Halden 35mm F2.8"},
                {"Exif.Image.ImageDescription", fmt::format("Frame {}", number)}};
  notes.gps = GpsPosition{47.0 + number * 0.001, 8.0 + number * 0.001};
  notes.orientation = 1;
  return notes;
}

void shootScene(const std::vector<CardPicture>& card, int sceneNumber) {
  const std::string negative =
      stillBytes({.width = kWidth,
                  .height = kHeight,
                  .painter = scene(static_cast<std::uint64_t>(sceneNumber)),
                  .quality = 85});
  for (int shot = 0; shot < kShotsPerScene; ++shot) {
    const int number = sceneNumber * kShotsPerScene + shot;
    if (number < static_cast<int>(card.size())) {
      writeText(card[static_cast<std::size_t>(number)].file,
                withMetadata(negative, notesOf(number)));
    }
  }
}

}  // namespace

std::vector<CardPicture> makeCameraCard(const fs::path& folder, int count) {
  std::vector<CardPicture> card;
  card.reserve(static_cast<std::size_t>(count));
  for (int number = 0; number < count; ++number) {
    card.push_back({folder / fmt::format("DSC_{:04}.JPG", number + 1),
                    fmt::format("2023/2023-{:02}", number % 12 + 1)});
  }
  ThreadPool pool(activeProcessors());
  std::vector<std::future<void>> scenes;
  for (int number = 0; number * kShotsPerScene < count; ++number) {
    auto task =
        std::make_shared<std::packaged_task<void()>>([&card, number] { shootScene(card, number); });
    scenes.push_back(task->get_future());
    pool.post([task] { (*task)(); });
  }
  for (auto& done : scenes) {
    done.get();
  }
  return card;
}

}  // namespace vaultmere::bench
