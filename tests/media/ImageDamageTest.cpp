// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "media/ImageDecoder.h"
#include "media/ImageProperties.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

constexpr std::size_t kCuts = 40;
constexpr int kWrongBytes = 25;

/// A small file of each format, with all the metadata that fits in.
class DamagedImage : public ::testing::TestWithParam<const char*> {
 protected:
  DamagedImage() {
    Metadata metadata;
    metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
                     {"Exif.Photo.FNumber", "28/10"}};
    metadata.gps = GpsPosition{48.1, 11.5};
    metadata.orientation = 6;
    metadata.xmp = {{"Xmp.aux.Lens", "50mm"}};
    const std::string name = GetParam();
    if (name == "dng") {
      DngOptions options;
      options.preview = RawPreview{64, 48, {}};
      options.metadata = metadata;
      makeDng(file, options);
      return;
    }
    const std::map<std::string, StillFormat> formats{
        {"jpeg", StillFormat::jpeg}, {"heic", StillFormat::heic}, {"avif", StillFormat::avif},
        {"png", StillFormat::png},   {"webp", StillFormat::webp}, {"tiff", StillFormat::tiff},
        {"gif", StillFormat::gif},   {"bmp", StillFormat::bmp},   {"psd", StillFormat::psd},
        {"jp2", StillFormat::jp2}};
    StillOptions options;
    options.format = formats.at(name);
    options.painter = spots(5);
    if (options.format != StillFormat::gif && options.format != StillFormat::bmp) {
      options.metadata = metadata;
    }
    makeStill(file, options);
  }

  /// Reads the file in every way; what can't be read is to be absent, no more.
  void readAll() const {
    const auto bitmap = decodeScaled(file, 16);
    if (bitmap) {
      EXPECT_EQ(bitmap->pixels.size(), static_cast<std::size_t>(bitmap->width) *
                                           static_cast<std::size_t>(bitmap->height) * 4);
      EXPECT_LE(std::max(bitmap->width, bitmap->height), 16);
    }
    static_cast<void>(readImageProperties(file));
  }

  TemporaryFolder folder;
  std::filesystem::path file = folder / "image";
};

TEST_P(DamagedImage, IsReadAsFarAsItGoes) {
  ASSERT_TRUE(decodeScaled(file, 16));
  const std::string whole = slurp(file);
  for (std::size_t cut = 0; cut < kCuts; ++cut) {
    // Close together at the start, where the structure is.
    const std::size_t size = whole.size() * cut * cut / (kCuts * kCuts);
    writeText(file, std::string_view(whole).substr(0, size));
    readAll();
  }
  std::mt19937_64 random(7);
  for (int i = 0; i < kWrongBytes; ++i) {
    std::string bytes = whole;
    for (int wrong = 0; wrong < 3; ++wrong) {
      const std::size_t reach = std::min<std::size_t>(bytes.size(), i % 2 == 0 ? 600 : SIZE_MAX);
      bytes[random() % reach] = static_cast<char>(random());
    }
    writeText(file, bytes);
    readAll();
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedImage,
                         ::testing::Values("jpeg", "heic", "avif", "png", "webp", "tiff", "gif",
                                           "bmp", "psd", "jp2", "dng"),
                         [](const auto& format) { return std::string(format.param); });

}  // namespace
}  // namespace vaultmere
