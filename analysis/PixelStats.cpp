// SPDX-License-Identifier: GPL-3.0-or-later
#include "analysis/PixelStats.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vaultmere::PixelStats {
namespace {

/// Below this mean saturation a picture counts as black and white.
constexpr double kBlackAndWhite = 0.08;
/// Below this saturation a colour is one of the three without a hue.
constexpr double kHueless = 0.12;

double saturationOf(double max, double min) {
  if (max == min) {
    return 0;
  }
  const double lightness = (max + min) * 0.5;
  return lightness > 0.5 ? (max - min) / (2 - max - min) : (max - min) / (max + min);
}

struct Sums {
  double red = 0;
  double green = 0;
  double blue = 0;
  double saturation = 0;
  double count = 0;
};

Sums sumsOf(const Bitmap& image) {
  Sums sums;
  for (std::size_t at = 0; at + 4 <= image.pixels.size(); at += 4) {
    const std::uint8_t* pixel = image.pixels.data() + at;
    if (pixel[3] == 0) {
      continue;
    }
    const double alpha = pixel[3] / 255.0;
    const double red = pixel[0] / 255.0 / alpha;
    const double green = pixel[1] / 255.0 / alpha;
    const double blue = pixel[2] / 255.0 / alpha;
    sums.red += red;
    sums.green += green;
    sums.blue += blue;
    sums.saturation += saturationOf(std::max({red, green, blue}), std::min({red, green, blue}));
    sums.count += 1;
  }
  return sums;
}

}  // namespace

std::optional<Bitmap> downscaled(MediaService& media, const MediaFile& file, int maxPixels) {
  return media.scaled(file, maxPixels);
}

std::optional<Result> analyze(const Bitmap& image) {
  if (image.width < 1 || image.height < 1) {
    return std::nullopt;
  }
  const Sums sums = sumsOf(image);
  if (sums.count == 0) {
    return std::nullopt;
  }
  const auto mean = [&](double sum) {
    return static_cast<int>(std::lround(sum / sums.count * 255.0));
  };
  Result result;
  result.avgR = mean(sums.red);
  result.avgG = mean(sums.green);
  result.avgB = mean(sums.blue);
  result.hex = fmt::format("#{:02x}{:02x}{:02x}", result.avgR, result.avgG, result.avgB);
  result.isBW = sums.saturation / sums.count < kBlackAndWhite;
  if (!result.isBW) {
    result.colorFamily = std::string(family(result.avgR, result.avgG, result.avgB));
  }
  return result;
}

std::string_view family(int red, int green, int blue) {
  const Hsl colour = hsl(red, green, blue);
  if (colour.saturation < kHueless) {
    return colour.lightness < 0.2 ? "Black" : colour.lightness > 0.85 ? "White" : "Gray";
  }
  struct Bound {
    double below;
    std::string_view family;
  };
  constexpr std::array<Bound, 9> kBounds{{{15, "Red"},
                                          {45, "Orange"},
                                          {65, "Yellow"},
                                          {165, "Green"},
                                          {195, "Cyan"},
                                          {255, "Blue"},
                                          {290, "Purple"},
                                          {345, "Pink"},
                                          {360, "Red"}}};
  return std::find_if(kBounds.begin(), kBounds.end() - 1,
                      [&](const Bound& bound) { return colour.hue < bound.below; })
      ->family;
}

Hsl hsl(int red, int green, int blue) {
  const double r = red / 255.0;
  const double g = green / 255.0;
  const double b = blue / 255.0;
  const double max = std::max({r, g, b});
  const double min = std::min({r, g, b});
  const double d = max - min;
  const double lightness = (max + min) * 0.5;
  if (max == min) {
    return {0, 0, lightness};
  }
  double sixths = 0;
  if (max == r) {
    sixths = (g - b) / d + (g < b ? 6 : 0);
  } else if (max == g) {
    sixths = (b - r) / d + 2;
  } else {
    sixths = (r - g) / d + 4;
  }
  return {sixths * 60, saturationOf(max, min), lightness};
}

}  // namespace vaultmere::PixelStats
