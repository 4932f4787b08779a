// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>

#include "tests/support/ClipMaker.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

constexpr std::size_t kCuts = 60;
constexpr int kVariants = 60;
constexpr int kWrongBytes = 4;

const std::map<std::string, StillFormat> kStills{
    {"jpeg", StillFormat::jpeg}, {"heic", StillFormat::heic}, {"avif", StillFormat::avif},
    {"png", StillFormat::png},   {"webp", StillFormat::webp}, {"tiff", StillFormat::tiff},
    {"gif", StillFormat::gif},   {"bmp", StillFormat::bmp},   {"psd", StillFormat::psd},
    {"jp2", StillFormat::jp2}};

const std::map<std::string, ClipContainer> kClips{
    {"mp4", ClipContainer::mp4},     {"mkv", ClipContainer::mkv}, {"webm", ClipContainer::webm},
    {"3gp", ClipContainer::threeGp}, {"avi", ClipContainer::avi}, {"mpeg", ClipContainer::mpeg}};

/// A small file of each format, with all the metadata that fits in.
class DamagedMedia : public ::testing::TestWithParam<const char*> {
 protected:
  DamagedMedia() {
    Metadata metadata;
    metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
                     {"Exif.Photo.FNumber", "28/10"}};
    metadata.gps = GpsPosition{48.1, 11.5};
    metadata.orientation = 6;
    metadata.xmp = {{"Xmp.aux.Lens", "50mm"}};
    const std::string name = GetParam();
    if (isVideo) {
      makeClip(file, {.container = kClips.at(name),
                      .seconds = 1.2,
                      .sound = name != "webm",
                      .metadata = {{"creation_time", "2021-06-01T10:11:12Z"},
                                   {"location", "+37.3317-122.0307/"}}});
    } else if (name == "dng") {
      makeDng(file, {.preview = RawPreview{64, 48, {}}, .metadata = metadata});
    } else {
      const bool isBare = name == "gif" || name == "bmp";
      makeStill(file, {.format = kStills.at(name),
                       .painter = spots(5),
                       .metadata = isBare ? Metadata{} : metadata});
    }
  }

  /// Reads the file in every way; what can't be read is to be absent, no more.
  bool readAll() const {
    std::optional<Bitmap> bitmap;
    if (isVideo) {
      EXPECT_TRUE(std::isfinite(readVideoProperties(file).duration.value_or(0)));
      expectWhole(videoFrame(file, 0, 16));
      bitmap = videoFrame(file, 1, 16);
    } else {
      static_cast<void>(readImageProperties(file));
      bitmap = decodeScaled(file, 16);
    }
    expectWhole(bitmap);
    return bitmap.has_value();
  }

  static void expectWhole(const std::optional<Bitmap>& bitmap) {
    if (bitmap) {
      EXPECT_EQ(bitmap->pixels.size(), static_cast<std::size_t>(bitmap->width) *
                                           static_cast<std::size_t>(bitmap->height) * 4);
      EXPECT_LE(std::max(bitmap->width, bitmap->height), 16);
    }
  }

  const bool isVideo = kClips.contains(GetParam());
  TemporaryFolder folder;
  std::filesystem::path file = folder / "media";
};

TEST_P(DamagedMedia, IsReadAsFarAsItGoes) {
  ASSERT_TRUE(readAll());
  const std::string whole = slurp(file);
  for (std::size_t cut = 0; cut < kCuts; ++cut) {
    // Every second one closer together at the start, where most have their structure.
    const std::size_t size = whole.size() * cut / kCuts;
    writeText(file, std::string_view(whole).substr(0, cut % 2 == 0 ? size : size * cut / kCuts));
    readAll();
  }
  std::mt19937_64 random(7);
  for (int i = 0; i < kVariants; ++i) {
    std::string bytes = whole;
    const std::size_t reach = std::min<std::size_t>(bytes.size(), i % 3 == 0 ? SIZE_MAX : 2000);
    const std::size_t start = i % 3 == 1 ? bytes.size() - reach : 0;
    for (int wrong = 0; wrong < kWrongBytes; ++wrong) {
      bytes[start + random() % reach] = static_cast<char>(random());
    }
    writeText(file, bytes);
    readAll();
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedMedia,
                         ::testing::Values("jpeg", "heic", "avif", "png", "webp", "tiff", "gif",
                                           "bmp", "psd", "jp2", "dng", "mp4", "mkv", "webm", "3gp",
                                           "avi", "mpeg"),
                         [](const auto& format) { return std::string(format.param); });

}  // namespace
}  // namespace vaultmere
