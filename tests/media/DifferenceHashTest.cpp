// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "media/DifferenceHash.h"
#include "tests/support/Raster.h"

namespace vaultmere {
namespace {

std::uint64_t hashOf(const Painter& painter, int width, int height) {
  return differenceHash(
      {width, height, paint({.width = width, .height = height, .bands = 4}, painter)});
}

Painter greys(std::function<int(double x, double y)> level) {
  return [level](double x, double y) {
    const auto grey = static_cast<std::uint8_t>(level(x, y));
    return Colour{grey, grey, grey};
  };
}

TEST(DifferenceHash, HasOneBitForEachCellThatIsBrighterThanTheNext) {
  struct Row {
    const char* name;
    Painter painter;
    std::uint64_t hash;
  };
  const std::vector<Row> rows{
      {"white", flat({255, 255, 255}), 0},
      {"black", flat({0, 0, 0}), 0},
      {"darker to the right", greys([](double x, double) { return 200 - int(x * 100); }), ~0ULL},
      {"brighter to the right", greys([](double x, double) { return 100 + int(x * 100); }), 0},
      {"the first cell is bright",
       greys([](double x, double y) { return x < 1.0 / 9 && y < 0.125 ? 99 : 0; }), 1ULL << 63},
      {"the last but one is bright",
       greys([](double x, double y) { return x > 7.0 / 9 && x < 8.0 / 9 && y > 0.875 ? 99 : 0; }),
       1},
      {"the middle column is bright",
       greys([](double x, double) { return x > 4.0 / 9 && x < 5.0 / 9 ? 99 : 0; }),
       0x0808080808080808},
      {"green is brighter than red and blue",
       [](double x, double) {
         return x < 1.0 / 3 ? Colour{255, 0, 0}
                            : (x < 2.0 / 3 ? Colour{0, 255, 0} : Colour{0, 0, 255});
       },
       0x0404040404040404},
      {"less than half a level", greys([](double x, double) { return x < 0.04 ? 101 : 100; }), 0},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(hashOf(row.painter, 360, 240), row.hash) << row.name;
  }
}

/// Pixels that are the same on every machine.
Bitmap noise(int width, int height, std::uint32_t seed) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(4 * width * height));
  for (std::uint8_t& byte : bytes) {
    seed = seed * 1664525U + 1013904223U;
    byte = static_cast<std::uint8_t>(seed >> 24U);
  }
  return {width, height, std::move(bytes)};
}

// Kept in catalogs: a changed value makes every stored hash worthless. These come from a
// calculation in fractions.
TEST(DifferenceHash, StaysTheSame) {
  EXPECT_EQ(differenceHash(noise(64, 43, 1)), 0x65a62bb5c6969b0eU);
  EXPECT_EQ(differenceHash(noise(43, 64, 2)), 0x52ab6c6ba5b4c94aU);
  EXPECT_EQ(differenceHash(noise(7, 5, 3)), 0x6cc8c8c9696c78b9U);
  EXPECT_EQ(differenceHash(noise(1, 1, 4)), 0x0000000000000000U);
  EXPECT_EQ(differenceHash(noise(20, 3, 5)), 0x2828eaebebcbcbcbU);
}

TEST(DifferenceHash, IsThatOfTheShapeWhateverTheSize) {
  const std::uint64_t whole = hashOf(spots(4), 720, 480);
  EXPECT_EQ(hashOf(spots(4), 360, 240), whole);
  EXPECT_LE(std::popcount(hashOf(spots(4), 101, 67) ^ whole), 4);
  EXPECT_EQ(hashOf(spots(4), 1, 1), 0U);
}

TEST(DifferenceHash, OfABitmapWithoutItsPixelsIsZero) {
  EXPECT_EQ(differenceHash({}), 0U);
  EXPECT_EQ(differenceHash({8, 8, std::vector<std::uint8_t>(8 * 7 * 4, 9)}), 0U);
  EXPECT_EQ(differenceHash({-1, 1 << 20, std::vector<std::uint8_t>(4)}), 0U);
}

}  // namespace
}  // namespace vaultmere
