// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/DifferenceHash.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vaultmere {
namespace {

constexpr std::size_t kColumns = 9;
constexpr std::size_t kRows = 8;

using CellRow = std::array<std::uint64_t, kColumns>;

/// Thousandths of the 256 steps of brightness.
constexpr std::uint64_t kBrightnessUnits = 1000;

std::uint64_t brightness(const std::uint8_t* pixel) {
  return std::uint64_t{299} * pixel[0] + std::uint64_t{587} * pixel[1] +
         std::uint64_t{114} * pixel[2];
}

/// The brightness of one row of pixels within each column of cells, times the width of
/// what lies there. A ninth of a pixel is the unit of width: `width` of them make a cell.
CellRow columnSums(const std::uint8_t* row, std::size_t width) {
  CellRow sums{};
  std::uint64_t left = 0;  // of all that lies to the left of the cell
  std::uint64_t whole = 0;
  std::size_t x = 0;
  for (std::size_t column = 0; column < kColumns; ++column) {
    const std::size_t end = width * (column + 1);
    for (; x < end / kColumns; ++x) {
      whole += brightness(row + 4 * x);
    }
    const std::size_t part = end % kColumns;
    const std::uint64_t upToEnd =
        whole * kColumns + (part > 0 ? part * brightness(row + 4 * x) : 0);
    sums[column] = upToEnd - left;
    left = upToEnd;
  }
  return sums;
}

/// The sums of all cells. At most 2^18 of brightness times 2^40 of area.
std::array<CellRow, kRows> cellSums(const Bitmap& picture, std::size_t width, std::size_t height) {
  std::array<CellRow, kRows> cells{};
  for (std::size_t y = 0; y < height; ++y) {
    const CellRow sums = columnSums(picture.pixels.data() + 4 * width * y, width);
    // An eighth of a pixel is the unit of height.
    const std::size_t top = kRows * y;
    const std::size_t bottom = top + kRows;
    for (std::size_t row = top / height; row * height < bottom; ++row) {
      const std::size_t overlap =
          std::min(bottom, (row + 1) * height) - std::max(top, row * height);
      for (std::size_t column = 0; column < kColumns; ++column) {
        cells[row][column] += overlap * sums[column];
      }
    }
  }
  return cells;
}

}  // namespace

std::uint64_t differenceHash(const Bitmap& picture) {
  const auto width = static_cast<std::size_t>(std::max(picture.width, 0));
  const auto height = static_cast<std::size_t>(std::max(picture.height, 0));
  if (width == 0 || height == 0 || picture.pixels.size() / 4 / width < height) {
    return 0;
  }
  const std::uint64_t unit = kBrightnessUnits * width * height;
  const auto rounded = [unit](std::uint64_t sum) { return (sum + unit / 2) / unit; };
  std::uint64_t hash = 0;
  for (const CellRow& row : cellSums(picture, width, height)) {
    for (std::size_t column = 0; column + 1 < kColumns; ++column) {
      hash = hash << 1U | std::uint64_t{rounded(row[column]) > rounded(row[column + 1])};
    }
  }
  return hash;
}

}  // namespace vaultmere
