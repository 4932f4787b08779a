// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "tests/support/Painter.h"

namespace vaultmere::demo {

/// A colour to calculate with: three shares, 0 to 1, that may exceed their bounds in
/// between.
struct LinearColour {
  double red = 0;
  double green = 0;
  double blue = 0;

  friend LinearColour operator+(LinearColour a, LinearColour b) {
    return {a.red + b.red, a.green + b.green, a.blue + b.blue};
  }
  friend LinearColour operator*(LinearColour a, double factor) {
    return {a.red * factor, a.green * factor, a.blue * factor};
  }
};

/// From "0xRRGGBB".
[[nodiscard]] LinearColour rgb(std::uint32_t code);
[[nodiscard]] LinearColour mix(LinearColour from, LinearColour to, double share);
[[nodiscard]] Colour colour(LinearColour linear);
/// 0 up to `from`, 1 from `to` on, smooth between; `from` may be the larger one.
[[nodiscard]] double smoothstep(double from, double to, double value);

/// Colours at equal distances, blended between.
class Ramp {
 public:
  Ramp(std::initializer_list<std::uint32_t> colours);
  [[nodiscard]] LinearColour at(double share) const;

 private:
  std::vector<LinearColour> colours_;
};

/// Smooth noise over the plane, the same for one seed.
class Noise {
 public:
  explicit Noise(std::uint64_t seed);
  /// 0 to 1; its hills are about 1 wide.
  [[nodiscard]] double at(double x, double y) const;
  /// The same with ever finer detail on it: clouds, rock, ridges.
  [[nodiscard]] double rough(double x, double y, int octaves = 4) const;
  /// 0 to 1, another number for each whole x and y.
  [[nodiscard]] double cell(long x, long y) const;

 private:
  std::vector<float> values_;
};

/// A function of 0 to 1, taken at many places once and blended between: for
/// outlines, which each pixel of a picture asks for.
class Outline {
 public:
  template <typename Function>
  explicit Outline(Function function) {
    values_.reserve(kPlaces + 2);
    for (int place = 0; place < kPlaces + 2; ++place) {
      values_.push_back(function(static_cast<double>(place) / kPlaces));
    }
  }
  [[nodiscard]] double at(double x) const {
    const double place = std::clamp(x, 0.0, 1.0) * kPlaces;
    const auto below = static_cast<std::size_t>(place);
    return values_[below] +
           (values_[below + 1] - values_[below]) * (place - static_cast<double>(below));
  }

 private:
  static constexpr int kPlaces = 3200;
  std::vector<double> values_;
};

}  // namespace vaultmere::demo
