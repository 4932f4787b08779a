// SPDX-License-Identifier: GPL-3.0-or-later
#include "demo/ColourMath.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace vaultmere::demo {

namespace {

constexpr long kSide = 256;  // of the noise's table; a power of two

// Quicker than the library's, which looks after infinities and exact ends.
double between(double from, double to, double share) { return from + (to - from) * share; }
long floorOf(double value) {
  const auto whole = static_cast<long>(value);
  return value < static_cast<double>(whole) ? whole - 1 : whole;
}

double eased(double share) { return share * share * (3 - 2 * share); }

std::uint8_t channel(double share) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(share, 0.0, 1.0) * 255));
}

}  // namespace

LinearColour rgb(std::uint32_t code) {
  const auto share = [code](int shift) { return ((code >> shift) & 0xff) / 255.0; };
  return {share(16), share(8), share(0)};
}

LinearColour mix(LinearColour from, LinearColour to, double share) {
  const double clamped = std::clamp(share, 0.0, 1.0);
  return from * (1 - clamped) + to * clamped;
}

Colour colour(LinearColour linear) {
  return {channel(linear.red), channel(linear.green), channel(linear.blue), 255};
}

double smoothstep(double from, double to, double value) {
  return eased(std::clamp((value - from) / (to - from), 0.0, 1.0));
}

Ramp::Ramp(std::initializer_list<std::uint32_t> colours) {
  for (const std::uint32_t code : colours) colours_.push_back(rgb(code));
}

LinearColour Ramp::at(double share) const {
  const auto last = static_cast<double>(colours_.size() - 1);
  const double place = std::clamp(share, 0.0, 1.0) * last;
  const auto below = static_cast<std::size_t>(std::min(place, last - 1));
  return mix(colours_.at(below), colours_.at(below + 1), place - static_cast<double>(below));
}

Noise::Noise(std::uint64_t seed) {
  std::mt19937_64 random(seed);
  values_.reserve(kSide * kSide);
  for (long i = 0; i < kSide * kSide; ++i) {
    values_.push_back(static_cast<float>(random() >> 40) * 0x1p-24F);
  }
}

double Noise::cell(long x, long y) const {
  // Negative numbers wrap too: the table's side is a power of two.
  return static_cast<double>(
      values_[static_cast<std::size_t>((y & (kSide - 1)) * kSide + (x & (kSide - 1)))]);
}

double Noise::at(double x, double y) const {
  const long column = floorOf(x);
  const long row = floorOf(y);
  const double across = eased(x - static_cast<double>(column));
  const double down = eased(y - static_cast<double>(row));
  const double upper = between(cell(column, row), cell(column + 1, row), across);
  const double lower = between(cell(column, row + 1), cell(column + 1, row + 1), across);
  return between(upper, lower, down);
}

double Noise::rough(double x, double y, int octaves) const {
  double sum = 0;
  double weight = 0.5;
  for (int octave = 0; octave < octaves; ++octave) {
    sum += weight * at(x, y);
    weight /= 2;
    x = 2 * x + 17.3;
    y = 2 * y + 5.7;
  }
  return sum / (1 - 2 * weight);
}

}  // namespace vaultmere::demo
