// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ByteText.h"

#include <fmt/format.h>

#include <array>
#include <span>
#include <string_view>

namespace vaultmere {
namespace {

constexpr std::uint64_t kLeastTooLarge = 1000;  // the next unit is used from here on

struct Unit {
  std::string_view name;
  std::uint64_t size;      ///< bytes
  std::uint64_t fraction;  ///< the smallest part that is shown: 10 means tenths
};
constexpr std::array kUnits{
    Unit{"KB", 1'000, 1},
    Unit{"MB", 1'000'000, 10},
    Unit{"GB", 1'000'000'000, 100},
    Unit{"TB", 1'000'000'000'000, 100},
};

/// ".25", ".5" or nothing.
std::string decimals(std::uint64_t parts, std::uint64_t fraction) {
  std::string digits;
  for (; parts > 0; parts = parts * 10 % fraction) {
    digits += static_cast<char>('0' + parts * 10 / fraction);
  }
  return digits.empty() ? digits : "." + digits;
}

std::string textIn(std::span<const Unit> units, std::int64_t bytes) {
  const auto given = static_cast<std::uint64_t>(bytes);
  const std::uint64_t magnitude = bytes < 0 ? 0 - given : given;
  for (;; units = units.subspan(1)) {
    const auto [name, size, fraction] = units.front();
    const std::uint64_t part = size / fraction;
    const std::uint64_t parts = magnitude / part + (magnitude % part * 2 >= part ? 1 : 0);
    if (parts < kLeastTooLarge * fraction || units.size() == 1) {
      return fmt::format("{}{}{} {}", bytes < 0 && parts > 0 ? "-" : "", parts / fraction,
                         decimals(parts % fraction, fraction), name);
    }
  }
}

}  // namespace

std::string byteText(std::int64_t bytes) { return textIn(std::span(kUnits).subspan(1), bytes); }

std::string byteTextWithKB(std::int64_t bytes) { return textIn(kUnits, bytes); }

}  // namespace vaultmere
