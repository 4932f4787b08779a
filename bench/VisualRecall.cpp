// SPDX-License-Identifier: GPL-3.0-or-later
//
// visual_recall FOLDER: how many copies of pictures the search for visual duplicates
// finds, and which different pictures it takes for copies. Prints the tables of
// docs/visual-duplicates.md. Nothing is timed.
#include <fmt/format.h>
#include <vips/vips.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "bench/Benchmark.h"
#include "bench/VisualSamples.h"
#include "care/VisualGrouping.h"
#include "media/DifferenceHash.h"
#include "media/worker/JpegEncoder.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"

namespace vaultmere::bench {
namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 600;
constexpr double kThumbnailQuality = 0.82;
constexpr int kThumbnailSide = 400;

using Pixels = std::shared_ptr<const Bitmap>;

/// A copy of a picture, made from the pixels of its file.
struct Copy {
  const char* name;
  StillFormat format = StillFormat::jpeg;
  int quality = 90;
  int side = kWidth;  ///< the longer one
  std::function<Painter(Painter)> edited{};
};

Painter asPainter(const Pixels& pixels) {
  return [pixels](double x, double y) {
    const auto column = static_cast<std::size_t>(x * pixels->width);
    const auto row = static_cast<std::size_t>(y * pixels->height);
    const std::size_t at = 4 * (row * static_cast<std::size_t>(pixels->width) + column);
    return Colour{pixels->pixels.at(at), pixels->pixels.at(at + 1), pixels->pixels.at(at + 2)};
  };
}

/// Framed in white, as wide as a part of the picture's width on each side.
std::function<Painter(Painter)> framed(double share) {
  return [share](Painter picture) -> Painter {
    const double tall = share * kWidth / kHeight;
    return [=](double x, double y) {
      const double inX = (x - share) / (1 - 2 * share);
      const double inY = (y - tall) / (1 - 2 * tall);
      const bool isInside = inX >= 0 && inX < 1 && inY >= 0 && inY < 1;
      return isInside ? picture(inX, inY) : Colour{255, 255, 255};
    };
  };
}

std::function<Painter(Painter)> brightened(double factor) {
  return [factor](Painter picture) -> Painter {
    return [=](double x, double y) {
      const auto level = [factor](std::uint8_t value) {
        return static_cast<std::uint8_t>(std::min(255.0, std::round(value * factor)));
      };
      const Colour colour = picture(x, y);
      return Colour{level(colour.red), level(colour.green), level(colour.blue)};
    };
  };
}

const std::array kCopies{
    Copy{"JPEG, quality 95", StillFormat::jpeg, 95},
    Copy{"JPEG, quality 75", StillFormat::jpeg, 75},
    Copy{"JPEG, quality 50", StillFormat::jpeg, 50},
    Copy{"JPEG, quality 30", StillFormat::jpeg, 30},
    Copy{"half the size", StillFormat::jpeg, 90, kWidth / 2},
    Copy{"a quarter of the size", StillFormat::jpeg, 90, kWidth / 4},
    Copy{"white border of 0.5 %", StillFormat::jpeg, 90, kWidth, framed(0.005)},
    Copy{"white border of 1 %", StillFormat::jpeg, 90, kWidth, framed(0.01)},
    Copy{"white border of 2 %", StillFormat::jpeg, 90, kWidth, framed(0.02)},
    Copy{"brighter by 10 %", StillFormat::jpeg, 90, kWidth, brightened(1.1)},
    Copy{"brighter by 25 %", StillFormat::jpeg, 90, kWidth, brightened(1.25)},
    Copy{"WebP, quality 75", StillFormat::webp, 75},
    Copy{"HEIC, quality 50", StillFormat::heic, 50},
};

/// As the program does it: from the thumbnail's JPEG file.
HashedPicture hashed(const fs::path& file) {
  const auto thumbnail = decodeThumbnail(file, kThumbnailSide);
  if (!thumbnail) {
    throw std::runtime_error("a picture can't be decoded");
  }
  const fs::path cached = file.string() + ".thumb";
  writeText(cached, encodeJpeg(*thumbnail, kThumbnailQuality));
  const auto pixels = decodeScaled(cached, kThumbnailSide);
  return {differenceHash(pixels.value()), thumbnail->width, thumbnail->height};
}

struct Original {
  std::size_t kind = 0;
  HashedPicture picture;
  std::array<HashedPicture, kCopies.size()> copies;
};

void measureOne(const fs::path& folder, const Painter& painter, Original& original) {
  const fs::path file = folder / "original.jpg";
  makeStill(file, {.width = kWidth, .height = kHeight, .painter = painter, .quality = 92});
  original.picture = hashed(file);
  for (std::size_t i = 0; i < kCopies.size(); ++i) {
    const Copy& copy = kCopies[i];
    const auto pixels = std::make_shared<const Bitmap>(decodeScaled(file, copy.side).value());
    const Painter same = asPainter(pixels);
    const fs::path made = folder / "copy";
    makeStill(made, {.format = copy.format,
                     .width = pixels->width,
                     .height = pixels->height,
                     .painter = copy.edited ? copy.edited(same) : same,
                     .quality = copy.quality});
    original.copies[i] = hashed(made);
  }
}

std::vector<Original> measureAll(const fs::path& folder, const std::vector<SampleKind>& kinds) {
  std::vector<std::pair<std::size_t, const Painter*>> all;
  for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
    for (const Painter& picture : kinds[kind].pictures) {
      all.emplace_back(kind, &picture);
    }
  }
  std::vector<Original> originals(all.size());
  std::atomic<std::size_t> next{0};
  std::vector<std::jthread> threads;
  for (const char* const name : {"1", "2"}) {
    threads.emplace_back([&, own = folder / name] {
      fs::create_directories(own);
      for (std::size_t i = next++; i < all.size(); i = next++) {
        originals[i].kind = all[i].first;
        measureOne(own, *all[i].second, originals[i]);
      }
    });
  }
  threads.clear();
  return originals;
}

bool isFlat(const HashedPicture& picture) { return picture.hash == 0 || picture.hash == ~0ULL; }

void printRecall(const std::vector<SampleKind>& kinds, const std::vector<Original>& originals) {
  fmt::print("\n| Copy |");
  for (const SampleKind& kind : kinds) {
    fmt::print(" {} |", kind.name);
  }
  fmt::print("\n|---|");
  for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
    fmt::print("--:|");
  }
  for (std::size_t i = 0; i < kCopies.size(); ++i) {
    std::vector<double> found(kinds.size());
    for (const Original& original : originals) {
      const std::array pair{original.picture, original.copies[i]};
      found[original.kind] += findCopies(pair).empty() ? 0 : 1;
    }
    fmt::print("\n| {} |", kCopies[i].name);
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
      fmt::print(" {:.0f} % |",
                 100 * found[kind] / static_cast<double>(kinds[kind].pictures.size()));
    }
  }
  fmt::print("\n");
}

/// "pictures in groups | pairs" of what is no copy.
std::string falseGroups(const std::vector<HashedPicture>& pictures) {
  std::size_t grouped = 0;
  std::size_t largest = 0;
  const auto sets = findCopies(pictures);
  for (const auto& set : sets) {
    grouped += set.size();
    largest = std::max(largest, set.size());
  }
  const auto flat = std::count_if(pictures.begin(), pictures.end(), isFlat);
  return fmt::format("{} | {} | {} | {} | {}", pictures.size(), flat, sets.size(), grouped,
                     largest);
}

void printFalseGroups(const std::vector<SampleKind>& kinds,
                      const std::vector<Original>& originals) {
  fmt::print(
      "\n| Pictures | count | flat | groups | pictures in them | largest |\n"
      "|---|--:|--:|--:|--:|--:|\n");
  std::vector<HashedPicture> all;
  for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
    std::vector<HashedPicture> pictures;
    for (const Original& original : originals) {
      if (original.kind == kind) {
        pictures.push_back(original.picture);
      }
    }
    fmt::print("| {} | {} |\n", kinds[kind].name, falseGroups(pictures));
    all.insert(all.end(), pictures.begin(), pictures.end());
  }
  fmt::print("| all together | {} |\n", falseGroups(all));
}

void measureRecall(const fs::path& folder) {
  const auto kinds = visualSamples();
  const auto originals = measureAll(folder, kinds);
  fmt::print("libvips {}, {} pictures of {} × {} pixels, {} copies of each\n",
             vips_version_string(), originals.size(), kWidth, kHeight, kCopies.size());
  printRecall(kinds, originals);
  printFalseGroups(kinds, originals);
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::measureRecall);
}
