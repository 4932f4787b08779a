// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/DamagedMedia.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

constexpr std::size_t kFiles = 120;
constexpr int kMaxPixels = 16;

/// In the process of the test, where sanitizers tell what is wrong.
class DamagedMedia : public ::testing::TestWithParam<std::string> {
 protected:
  static void expectWhole(const std::optional<Bitmap>& bitmap) {
    if (bitmap) {
      EXPECT_EQ(bitmap->pixels.size(), static_cast<std::size_t>(bitmap->width) *
                                           static_cast<std::size_t>(bitmap->height) * 4);
      EXPECT_LE(std::max(bitmap->width, bitmap->height), kMaxPixels);
    }
  }
};

TEST_P(DamagedMedia, IsReadAsFarAsItGoes) {
  const TemporaryFolder folder;
  const fs::path file = folder / "media";
  for (const std::string& bytes : damagedFiles(GetParam(), kFiles)) {
    writeText(file, bytes);
    static_cast<void>(readImageProperties(file));
    expectWhole(decodeScaled(file, kMaxPixels));
    EXPECT_TRUE(std::isfinite(readVideoProperties(file).duration.value_or(0)));
    expectWhole(videoFrame(file, 0, kMaxPixels));
    expectWhole(videoFrame(file, 1, kMaxPixels));
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedMedia, ::testing::ValuesIn(damagedFormats()),
                         [](const auto& format) { return format.param; });

}  // namespace
}  // namespace vaultmere
