// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "media/ImageDecoder.h"
#include "media/ImageWriter.h"
#include "platform/Files.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

Bitmap picture(std::uint8_t red, std::uint8_t alpha) {
  Bitmap bitmap{32, 24, {}};
  for (int i = 0; i < bitmap.width * bitmap.height; ++i) {
    for (const std::uint8_t byte : {red, std::uint8_t{0}, std::uint8_t{0}, alpha}) {
      bitmap.pixels.push_back(byte);
    }
  }
  return bitmap;
}

TEST(ImageWriter, WritesTheColoursOverWhite) {
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
    writeJpeg(row.bitmap, folder / "a.jpg", 0.9);
    const auto read = decodeScaled(folder / "a.jpg", 32);
    ASSERT_TRUE(read) << row.name;
    EXPECT_EQ(read->width, 32);
    EXPECT_EQ(read->height, 24);
    EXPECT_NEAR(read->pixels.at(0), row.red, 4) << row.name;
    EXPECT_NEAR(read->pixels.at(1), row.green, 4) << row.name;
    EXPECT_EQ(read->pixels.at(3), 255) << row.name;
  }
}

TEST(ImageWriter, LeavesNoMetadataAndNoSecondFile) {
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
  writeText(folder / "small.jpg", "an older picture");
  writeJpeg(*bitmap, folder / "small.jpg", 0.3);
  writeJpeg(*bitmap, folder / "good.jpg", 0.82);

  const std::string small = slurp(folder / "small.jpg");
  EXPECT_EQ(small.find("Exif"), std::string::npos);
  EXPECT_EQ(small.find("Northlight"), std::string::npos);
  EXPECT_EQ(small.find("ICC_PROFILE"), std::string::npos);
  EXPECT_LT(small.size(), slurp(folder / "good.jpg").size());
  EXPECT_EQ(filesBelow(folder.path()),
            (std::vector<std::string>{"good.jpg", "original.jpg", "small.jpg"}));
}

TEST(ImageWriter, FailsWhereItCannotWrite) {
  const TemporaryFolder folder;
  EXPECT_THROW(writeJpeg(picture(1, 255), folder / "missing" / "a.jpg", 0.8), FileError);
  EXPECT_THROW(writeJpeg(Bitmap{}, folder / "empty.jpg", 0.8), FileError);
  EXPECT_THROW(writeJpeg(Bitmap{100, 100, {1, 2, 3, 4}}, folder / "short.jpg", 0.8), FileError);
  EXPECT_TRUE(filesBelow(folder.path()).empty());
}

}  // namespace
}  // namespace vaultmere
