// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "analysis/PixelStats.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {
namespace {

using Pixel = std::array<std::uint8_t, 4>;

/// One row of pixels.
Bitmap rowOf(const std::vector<Pixel>& pixels) {
  std::vector<std::uint8_t> bytes;
  for (const Pixel& pixel : pixels) {
    bytes.insert(bytes.end(), pixel.begin(), pixel.end());
  }
  return {static_cast<int>(pixels.size()), 1, std::move(bytes)};
}

TEST(PixelStats, TellsMeanBlackAndWhiteAndFamily) {
  const struct {
    const char* name;
    std::vector<Pixel> pixels;
    const char* hex;
    bool isBW;
    std::optional<std::string> family;
  } rows[] = {
      {"grey", {{128, 128, 128, 255}}, "#808080", true, std::nullopt},
      {"red", {{255, 0, 0, 255}}, "#ff0000", false, "Red"},
      {"red and cyan", {{255, 0, 0, 255}, {0, 255, 255, 255}}, "#808080", false, "Gray"},
      {"transparent margin",
       {{255, 0, 0, 255}, {0, 0, 0, 0}, {9, 9, 9, 0}},
       "#ff0000",
       false,
       "Red"},
      {"half transparent", {{100, 50, 0, 128}}, "#c76400", false, "Orange"},
      {"dark red beside grey", {{128, 128, 128, 255}, {40, 0, 0, 255}}, "#544040", false, "Red"},
      // Saturations of 2/25 and of less: the bound itself is colour.
      {"just colour", {{108, 92, 92, 255}}, "#6c5c5c", false, "Gray"},
      {"just black and white", {{107, 93, 93, 255}}, "#6b5d5d", true, std::nullopt},
      {"a half rounds up", {{1, 1, 1, 255}, {2, 2, 2, 255}}, "#020202", true, std::nullopt},
  };
  for (const auto& row : rows) {
    const auto result = PixelStats::analyze(rowOf(row.pixels));
    ASSERT_TRUE(result) << row.name;
    EXPECT_EQ(result->hex, row.hex) << row.name;
    EXPECT_EQ(result->isBW, row.isBW) << row.name;
    EXPECT_EQ(result->colorFamily, row.family) << row.name;
  }
  const auto orange = PixelStats::analyze(rowOf({{255, 128, 0, 255}}));
  EXPECT_EQ(orange, (PixelStats::Result{255, 128, 0, "#ff8000", false, "Orange"}));
}

TEST(PixelStats, HasNothingToSayAboutNoPixels) {
  EXPECT_FALSE(PixelStats::analyze(Bitmap{}));
  EXPECT_FALSE(PixelStats::analyze(Bitmap{0, 5, {}}));
  EXPECT_FALSE(PixelStats::analyze(rowOf({{0, 0, 0, 0}, {7, 7, 7, 0}})));
}

TEST(PixelStats, NamesColourFamilies) {
  const struct {
    int red, green, blue;
    const char* family;
  } rows[] = {
      {255, 0, 0, "Red"},      {0, 255, 0, "Green"},     {0, 0, 255, "Blue"},
      {255, 255, 0, "Yellow"}, {0, 255, 255, "Cyan"},    {255, 0, 255, "Pink"},
      {255, 0, 64, "Pink"},    {240, 0, 60, "Red"},  // hues 344.9 and 345
      {240, 60, 0, "Orange"},  {241, 60, 0, "Red"},      {240, 180, 0, "Yellow"},
      {240, 179, 0, "Orange"}, {220, 240, 0, "Green"},   {0, 240, 180, "Cyan"},
      {0, 180, 240, "Blue"},   {60, 0, 240, "Purple"},   {200, 0, 240, "Pink"},
      {0, 0, 0, "Black"},      {50, 50, 50, "Black"},    {51, 51, 51, "Gray"},
      {216, 216, 216, "Gray"}, {217, 217, 217, "White"}, {255, 255, 255, "White"},
      {128, 120, 120, "Gray"}, {40, 0, 0, "Red"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(PixelStats::family(row.red, row.green, row.blue), row.family)
        << row.red << " " << row.green << " " << row.blue;
  }
  const PixelStats::Hsl rose = PixelStats::hsl(255, 0, 51);
  EXPECT_NEAR(rose.hue, 348, 1e-9);
  EXPECT_EQ(rose.saturation, 1);
  EXPECT_EQ(rose.lightness, 0.5);
}

TEST(PixelStats, RendersFilesFirst) {
  const TemporaryFolder folder;
  const auto downscaled = [&](const char* name) {
    return PixelStats::downscaled(testMedia(), {File::openForReading(folder / name)},
                                  PixelStats::kSamplePixels);
  };
  StillOptions options;
  options.width = 640;
  options.height = 320;
  options.painter = halves({250, 20, 20}, {20, 20, 20});
  for (const int orientation : {1, 6}) {
    options.metadata.orientation = orientation;
    makeStill(folder / "a.jpg", options);
    const auto image = downscaled("a.jpg");
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width, orientation == 1 ? 64 : 32);
    const auto result = PixelStats::analyze(*image);
    ASSERT_TRUE(result);
    EXPECT_NEAR(result->avgR, 135, 2);
    EXPECT_EQ(result->colorFamily, "Red");
  }
  writeText(folder / "text.jpg", "no picture");
  EXPECT_FALSE(downscaled("text.jpg"));
}

}  // namespace
}  // namespace vaultmere
