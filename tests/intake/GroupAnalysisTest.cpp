// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>

#include "intake/GroupAnalysis.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

AnalyzedPhoto analyzed(const fs::path& file, const PhotosMeta* meta = nullptr) {
  AssetGroup group;
  group.primary = file;
  group.isVideo = true;
  return analyzeGroup(group, meta, nullptr, {}).photo;
}

TEST(GroupAnalysis, AVideoBringsWhatItsContainerTells) {
  ::setenv("TZ", "UTC", 1);
  const TemporaryFolder folder;
  const auto file = folder / "VID_20190102_030405.MP4";
  makeClip(file, {.width = 1920,
                  .height = 1080,
                  .seconds = 0.5,
                  .rotation = 90,
                  .metadata = {{"creation_time", "2021-06-01T10:11:12Z"},
                               {"com.apple.quicktime.location.ISO6709", "+48.5+002.25/"}}});
  const AnalyzedPhoto photo = analyzed(file);
  EXPECT_EQ(photo.mediaType, "video");
  EXPECT_EQ(photo.width, 1080);
  EXPECT_EQ(photo.height, 1920);
  EXPECT_EQ(photo.megapixels, 2.0736);
  EXPECT_EQ(photo.duration, 0.5);
  EXPECT_EQ(photo.gpsLat, 48.5);
  EXPECT_EQ(photo.gpsLon, 2.25);
  EXPECT_EQ(photo.captureDate, "2021-06-01T10:11:12");
  EXPECT_EQ(photo.captureDateSource, "exif");
  EXPECT_EQ(photo.captureDateConfidence, "high");

  PhotosMeta meta;
  meta.captureDate = "2020-02-03T04:05:06";
  meta.gpsLat = -1;
  meta.gpsLon = -2;
  const AnalyzedPhoto known = analyzed(file, &meta);
  EXPECT_EQ(known.gpsLat, -1);
  EXPECT_EQ(known.gpsLon, -2);
  EXPECT_EQ(known.captureDate, "2020-02-03T04:05:06");
  ::unsetenv("TZ");
}

TEST(GroupAnalysis, AVideoThatTellsNothingIsStillAnItem) {
  const TemporaryFolder folder;
  writeText(folder / "VID_20190102_030405.mkv", "no video");
  const AnalyzedPhoto photo = analyzed(folder / "VID_20190102_030405.mkv");
  EXPECT_EQ(photo.mediaType, "video");
  EXPECT_FALSE(photo.width || photo.height || photo.megapixels || photo.duration || photo.gpsLat);
  EXPECT_EQ(photo.captureDate, "2019-01-02T03:04:05");
  EXPECT_EQ(photo.captureDateSource, "filename");
}

}  // namespace
}  // namespace vaultmere
