// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace vaultmere {

/// Random numbers that are the same on every machine for one seed.
class DeterministicRandom {
 public:
  explicit DeterministicRandom(std::uint64_t seed) : random_(seed) {}

  /// In [0, 1).
  double fraction() { return static_cast<double>(random_() >> 11U) * 0x1.0p-53; }
  double between(double low, double high) { return low + (high - low) * fraction(); }
  /// In [0, bound).
  int below(int bound) { return static_cast<int>(fraction() * bound); }
  bool chance(double probability) { return fraction() < probability; }
  /// Few of the numbers below `bound` come often, most of them seldom.
  int uneven(int bound) {
    return std::min(static_cast<int>(std::pow(bound + 1.0, fraction())), bound) - 1;
  }
  template <typename Value, std::size_t Size>
  const Value& pick(const std::array<Value, Size>& values) {
    return values[static_cast<std::size_t>(below(static_cast<int>(Size)))];
  }
  /// Sixteen lower-case hex digits a word.
  std::string hexDigits(int words) {
    std::string text;
    for (int i = 0; i < words; ++i) {
      for (std::uint64_t word = random_(), shift = 64; shift > 0;) {
        shift -= 4;
        text += "0123456789abcdef"[(word >> shift) & 15U];
      }
    }
    return text;
  }

 private:
  std::mt19937_64 random_;
};

}  // namespace vaultmere
