// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "analysis/VideoMetadata.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {
namespace {

TEST(VideoMetadata, IsReadFromAFileInOnePass) {
  ::setenv("TZ", "Asia/Tokyo", 1);
  const TemporaryFolder folder;
  makeClip(folder / "clip.mov",
           {.container = ClipContainer::mov,
            .width = 192,
            .height = 108,
            .rotation = 90,
            .metadata = {{"com.apple.quicktime.creationdate", "2021-06-01T12:11:12+0200"},
                         {"com.apple.quicktime.location.ISO6709", "+37.3317-122.0307+012.123/"}}});
  VideoMetadata expected;
  expected.width = 108;
  expected.height = 192;
  expected.megapixels = 0.020736;
  expected.duration = 1;
  expected.captureDate = "2021-06-01T19:11:12";
  expected.gpsLat = 37.3317;
  expected.gpsLon = -122.0307;
  EXPECT_EQ(VideoMetadata::read(testMedia(), {File::openForReading(folder / "clip.mov")}),
            expected);
  ::unsetenv("TZ");
}

TEST(VideoMetadata, ReadsThePositionByItsSigns) {
  const struct {
    const char* text;
    double latitude, longitude;  // 0: absent
  } rows[] = {
      {"+37.3317-122.0307+012.123/", 37.3317, -122.0307},
      {"-33.5+151.25/", -33.5, 151.25},
      {"+48+002/", 48, 2},
      {"place: +48.5+002.5 and more", 48.5, 2.5},
      {"+1. +48+002/", 48, 2},
      {"+48.-002/", 0, 0},
      {"48.5,2.5", 0, 0},
      {"48+002/", 0, 0},
      {"+48 +002/", 0, 0},
      {"+48/", 0, 0},
      {"", 0, 0},
      {"\xFF+48\xFF+2", 0, 0},
  };
  for (const auto& row : rows) {
    VideoProperties properties;
    properties.locations = {{"first", row.text}, {"second", "+1+1/"}};
    const VideoMetadata metadata = VideoMetadata::of(properties);
    EXPECT_EQ(metadata.gpsLat.value_or(0), row.latitude) << row.text;
    EXPECT_EQ(metadata.gpsLon.value_or(0), row.longitude) << row.text;
  }
  VideoProperties properties;
  properties.locations = {{"first", "+48-" + std::string(400, '9')}};
  EXPECT_FALSE(VideoMetadata::of(properties).gpsLat) << "both must be numbers";
}

TEST(VideoMetadata, ConvertsTheDateToTheLocalClock) {
  ::setenv("TZ", "America/New_York", 1);
  const struct {
    const char* text;
    std::optional<std::string> date;
  } rows[] = {
      {"2021-06-01T12:11:12+0200", "2021-06-01T06:11:12"},
      {"2021-06-01T12:11:12+02:00", "2021-06-01T06:11:12"},
      {"2021-01-01T00:11:12Z", "2020-12-31T19:11:12"},
      {"2021-06-01T10:11:12.000000Z", "2021-06-01T06:11:12"},
      {"2021-06-01 10:11:12", "2021-06-01T10:11:12"},  // a camera's own clock
      {"2021-06-01T10:11:12", "2021-06-01T10:11:12"},
      {"2021-02-31T10:11:12Z", std::nullopt},
      {"2021-06-01T25:11:12", std::nullopt},
      {"2021-06-01T10:11:12+9900", std::nullopt},
      {"2021-06-01", std::nullopt},
      {"2021", std::nullopt},
      {"yesterday", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& row : rows) {
    VideoProperties properties;
    properties.created = {row.text};
    EXPECT_EQ(VideoMetadata::of(properties).captureDate, row.date) << row.text;
    properties.created.emplace_back("2019-01-02T08:04:05Z");
    EXPECT_EQ(VideoMetadata::of(properties).captureDate, row.date.value_or("2019-01-02T03:04:05"))
        << row.text;
  }
  ::unsetenv("TZ");
}

TEST(VideoMetadata, RoundsTheRotatedSize) {
  const struct {
    const char* name;
    VideoTrack track;
    int width, height;  // 0: absent
  } rows[] = {
      {"as stored", {1920, 1080, 1, 0, 0, 1}, 1920, 1080},
      {"on its side", {1920, 1080, 0, 1, -1, 0}, 1080, 1920},
      {"on its head", {1920, 1080, -1, 0, 0, -1}, 1920, 1080},
      {"halves go up", {852.5, 479.5, 1, 0, 0, 1}, 853, 480},
      {"and below zero down", {852.5, 479.5, 0, 1, -1, 0}, 480, 853},
      {"doubled", {320, 240, 2, 0, 0, 2}, 640, 480},
      {"flattened", {320, 240, 0, 0, 0, 0}, 0, 0},
      {"too large for a number", {1e9, 240, 1e4, 0, 0, 1}, 0, 0},
  };
  for (const auto& row : rows) {
    VideoProperties properties;
    properties.track = row.track;
    const VideoMetadata metadata = VideoMetadata::of(properties);
    EXPECT_EQ(metadata.width.value_or(0), row.width) << row.name;
    EXPECT_EQ(metadata.height.value_or(0), row.height) << row.name;
  }
}

}  // namespace
}  // namespace vaultmere
