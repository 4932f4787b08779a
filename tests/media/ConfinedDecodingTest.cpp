// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <functional>

#include "media/DifferenceHash.h"
#include "tests/support/BitmapChecks.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {
namespace {

TEST(ConfinedDecoding, EveryFormatIsReadByTheProcess) {
  const TemporaryFolder folder;
  const fs::path path = folder / "sample";
  const auto still = [&](StillFormat format) {
    makeStill(path, {.format = format, .width = 160, .height = 120, .painter = upright()});
  };
  const auto clip = [&](ClipContainer container) {
    makeClip(path, {.container = container, .seconds = 0.2, .painter = upright()});
  };
  const struct {
    const char* name;
    std::function<void()> make;
    MediaKind kind = MediaKind::still;
  } rows[] = {
      {"JPEG", [&] { still(StillFormat::jpeg); }},
      {"HEIC", [&] { still(StillFormat::heic); }},
      {"AVIF", [&] { still(StillFormat::avif); }},
      {"PNG", [&] { still(StillFormat::png); }},
      {"WebP", [&] { still(StillFormat::webp); }},
      {"GIF", [&] { still(StillFormat::gif); }},
      {"TIFF", [&] { still(StillFormat::tiff); }},
      {"BMP", [&] { still(StillFormat::bmp); }},
      {"PSD", [&] { still(StillFormat::psd); }},
      {"JPEG 2000", [&] { still(StillFormat::jp2); }},
      {"DNG, developed", [&] { makeDng(path, {.painter = upright()}); }},
      {"MP4", [&] { clip(ClipContainer::mp4); }, MediaKind::video},
      {"MOV", [&] { clip(ClipContainer::mov); }, MediaKind::video},
      {"Matroska", [&] { clip(ClipContainer::mkv); }, MediaKind::video},
      {"WebM", [&] { clip(ClipContainer::webm); }, MediaKind::video},
      {"3GP", [&] { clip(ClipContainer::threeGp); }, MediaKind::video},
      {"AVI", [&] { clip(ClipContainer::avi); }, MediaKind::video},
      {"MPEG", [&] { clip(ClipContainer::mpeg); }, MediaKind::video},
  };
  for (const auto& row : rows) {
    row.make();
    const MediaAnswer answer = testMedia().read({File::openForReading(path)},
                                                {.kind = row.kind,
                                                 .wantsProperties = true,
                                                 .pictures = {{.maxPixels = 40, .seconds = {0}}}});
    const bool hasSize = row.kind == MediaKind::video ? answer.video && answer.video->track
                                                      : answer.still && answer.still->pixelWidth;
    EXPECT_TRUE(hasSize) << row.name;
    ASSERT_TRUE(answer.pictures.front()) << row.name;
    const auto& [width, height, bytes, none] = *answer.pictures.front();
    EXPECT_EQ(cornersOf(Bitmap{width, height, bytes}, 45), "RGBY") << row.name;
  }
}

TEST(ConfinedDecoding, ComesAsAHashAlone) {
  const TemporaryFolder folder;
  const fs::path path = folder / "file";
  for (const StillFormat format : {StillFormat::jpeg, StillFormat::png, StillFormat::webp}) {
    makeStill(path, {.format = format, .width = 400, .height = 267, .painter = spots(1)});
    const File file = File::openForReading(path);
    const auto pixels = testMedia().scaled({file}, 400);
    ASSERT_TRUE(pixels);
    const MediaAnswer answer = testMedia().read(
        {file}, {.pictures = {{.maxPixels = 400, .asHash = true}, {.maxPixels = 9}}});
    ASSERT_TRUE(answer.pictures.at(0) && answer.pictures.at(1));
    EXPECT_NE(answer.pictures[0]->hash, 0U);
    EXPECT_EQ(answer.pictures[0]->hash, differenceHash(*pixels));
    EXPECT_EQ(answer.pictures[0]->bytes.size(), 0U);
  }
  writeText(path, "no picture");
  const MediaAnswer answer = testMedia().read({File::openForReading(path)},
                                              {.pictures = {{.maxPixels = 9, .asHash = true}}});
  EXPECT_FALSE(answer.pictures.at(0) || answer.failure);
}

}  // namespace
}  // namespace vaultmere
