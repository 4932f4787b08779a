// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "media/worker/JpegEncoder.h"
#include "platform/Files.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

Bitmap picture(std::uint8_t red, std::uint8_t alpha) {
  std::vector<std::uint8_t> pixels;
  for (int i = 0; i < 32 * 24; ++i) {
    pixels.insert(pixels.end(), {red, 0, 0, alpha});
  }
  return {32, 24, pixels};
}

TEST(JpegEncoder, PutsTheColoursOverWhite) {
  const TemporaryFolder folder;
  const struct {
    const char* name;
    Bitmap bitmap;
    int red, green;
  } rows[] = {
      {"opaque", picture(200, 255), 200, 0},
      {"transparent", picture(0, 0), 255, 255},
      {"half", picture(128, 128), 255, 127},
  };
  for (const auto& row : rows) {
    writeText(folder / "a.jpg", encodeJpeg(row.bitmap, 0.9));
    const auto read = decodeScaled(folder / "a.jpg", 32);
    ASSERT_TRUE(read) << row.name;
    EXPECT_EQ(read->width, 32);
    EXPECT_EQ(read->height, 24);
    EXPECT_NEAR(read->pixels.at(0), row.red, 4) << row.name;
    EXPECT_NEAR(read->pixels.at(1), row.green, 4) << row.name;
    EXPECT_EQ(read->pixels.at(3), 255) << row.name;
  }
}

TEST(JpegEncoder, LeavesTheMetadataOut) {
  const TemporaryFolder folder;
  StillOptions options;
  options.profile = ColourProfile::displayP3;
  options.painter = spots(1);
  options.width = 640;
  options.height = 480;
  options.metadata.exif = {{"Exif.Image.Make", "Northlight"}};
  makeStill(folder / "original.jpg", options);
  const auto bitmap = decodeScaled(folder / "original.jpg", 640);
  ASSERT_TRUE(bitmap);
  const std::string small = encodeJpeg(*bitmap, 0.3);
  EXPECT_EQ(small.find("Exif"), std::string::npos);
  EXPECT_EQ(small.find("Northlight"), std::string::npos);
  EXPECT_EQ(small.find("ICC_PROFILE"), std::string::npos);
  EXPECT_LT(small.size(), encodeJpeg(*bitmap, 0.82).size());
}

TEST(JpegEncoder, GivesNothingWithoutEnoughPixels) {
  EXPECT_EQ(encodeJpeg(Bitmap{}, 0.8), "");
  EXPECT_EQ(encodeJpeg(Bitmap{100, 100, std::vector<std::uint8_t>{1, 2, 3, 4}}, 0.8), "");
}

}  // namespace
}  // namespace vaultmere
