// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "media/VideoFile.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

constexpr std::size_t kCuts = 60;
constexpr int kWrongBytes = 60;

/// A small clip of each container, with metadata where it has any.
class DamagedVideo : public ::testing::TestWithParam<ClipContainer> {
 protected:
  DamagedVideo() {
    ClipOptions options;
    options.container = GetParam();
    options.seconds = 1.2;
    options.sound = GetParam() != ClipContainer::webm;
    options.metadata = {{"creation_time", "2021-06-01T10:11:12Z"},
                        {"location", "+37.3317-122.0307/"}};
    makeClip(file, options);
  }

  /// Reads the file in every way; what can't be read is to be absent, no more.
  void readAll() const {
    const VideoProperties properties = readVideoProperties(file);
    EXPECT_TRUE(std::isfinite(properties.duration.value_or(0)));
    for (const double seconds : {0.0, 1.0}) {
      const auto bitmap = videoFrame(file, seconds, 16);
      if (bitmap) {
        EXPECT_EQ(bitmap->pixels.size(), static_cast<std::size_t>(bitmap->width) *
                                             static_cast<std::size_t>(bitmap->height) * 4);
        EXPECT_LE(std::max(bitmap->width, bitmap->height), 16);
      }
    }
  }

  TemporaryFolder folder;
  std::filesystem::path file = folder / "video";
};

TEST_P(DamagedVideo, IsReadAsFarAsItGoes) {
  ASSERT_TRUE(videoFrame(file, 1, 16));
  const std::string whole = slurp(file);
  for (std::size_t cut = 0; cut < kCuts; ++cut) {
    writeText(file, std::string_view(whole).substr(0, whole.size() * cut / kCuts));
    readAll();
  }
  std::mt19937_64 random(7);
  for (int i = 0; i < kWrongBytes; ++i) {
    std::string bytes = whole;
    for (int wrong = 0; wrong < 4; ++wrong) {
      // Structure stands at the start or at the end.
      const std::size_t reach = std::min<std::size_t>(bytes.size(), 2000);
      const std::size_t start = i % 2 == 0 ? 0 : bytes.size() - reach;
      bytes[start + random() % reach] = static_cast<char>(random());
    }
    writeText(file, bytes);
    readAll();
  }
}

INSTANTIATE_TEST_SUITE_P(Containers, DamagedVideo,
                         ::testing::Values(ClipContainer::mp4, ClipContainer::mkv,
                                           ClipContainer::webm, ClipContainer::threeGp,
                                           ClipContainer::avi, ClipContainer::mpeg));

TEST(CutVideo, GivesWhatStandsBeforeTheCut) {
  const TemporaryFolder folder;
  const auto file = folder / "clip.mkv";
  makeClip(file, {.container = ClipContainer::mkv, .seconds = 4});
  truncateFile(file, slurp(file).size() / 2);
  EXPECT_NEAR(readVideoProperties(file).duration.value_or(0), 4, 0.05);
  EXPECT_TRUE(readVideoProperties(file).track);
  EXPECT_TRUE(videoFrame(file, 1, 64));
  EXPECT_FALSE(videoFrame(file, 3.9, 64));
}

}  // namespace
}  // namespace vaultmere
