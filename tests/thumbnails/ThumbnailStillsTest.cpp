// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/thumbnails/ThumbnailFixture.h"

namespace vaultmere {
namespace {

constexpr const char* kNone = "undecodable";

class ThumbnailStills : public ThumbnailFixture {
 protected:
  static StillOptions still(const std::function<void(StillOptions&)>& change = {}) {
    StillOptions options{.width = 800, .height = 600, .painter = upright()};
    if (change) {
      change(options);
    }
    return options;
  }
  /// A JPEG with a thumbnail inside.
  static StillOptions with(const EmbeddedThumbnail& thumbnail,
                           const std::function<void(StillOptions&)>& change = {}) {
    return still([&](StillOptions& options) {
      options.metadata.thumbnail = thumbnail;
      if (change) {
        change(options);
      }
    });
  }
};

TEST_F(ThumbnailStills, AreUprightAndNeverEnlarged) {
  const auto onItsSide = [](StillOptions& o) {
    o.painter = turnedBack();
    o.metadata.orientation = 6;
  };
  const struct {
    const char* name;
    StillOptions options;
    const char* expected;
  } rows[] = {
      {"plain", still(), "400x300 RGBY"},
      {"on its side", still(onItsSide), "300x400 RGBY"},
      {"smaller", still([](auto& o) { o.width = 96, o.height = 64; }), "96x64 RGBY"},
      {"one pixel", still([](auto& o) { o.width = 1, o.height = 1; }), "1x1 YYYY"},
      {"HEIC", still([](auto& o) { o.format = StillFormat::heic; }), "400x300 RGBY"},
      {"animated GIF", still([](auto& o) { o.format = StillFormat::gif, o.frames = 3; }),
       "400x300 RGBY"},
      {"animated WebP", still([](auto& o) { o.format = StillFormat::webp, o.frames = 3; }),
       "400x300 RGBY"},

      {"one inside", with({160, 120, upright()}), "160x120 RGBY"},
      {"a larger one inside", with({480, 360, upright()}), "400x300 RGBY"},
      {"one inside, on its side", with({160, 120, turnedBack()}, onItsSide), "120x160 RGBY"},
      {"one inside that the camera turned", with({120, 160, flat(kRed)}, onItsSide),
       "300x400 RGBY"},
      {"one inside with bars", with({160, 120, flat(kRed)}, [](auto& o) { o.height = 534; }),
       "400x267 RGBY"},
      {"one inside as large as the picture",
       with({192, 144, flat(kRed)}, [](auto& o) { o.width = 192, o.height = 144; }),
       "192x144 RGBY"},
      {"a tiny one inside", with({64, 48, flat(kRed)}), "400x300 RGBY"},
      {"one inside whose colours nothing tells",
       with({160, 120, flat(kRed)}, [](auto& o) { o.profile = ColourProfile::srgb; }),
       "400x300 RGBY"},
  };
  int number = 0;
  for (const auto& row : rows) {
    const PhotoRef ref = item(++number, "a.still");
    makeStill(*ref.archivePath, row.options);
    EXPECT_EQ(thumbnail(ref), row.expected) << row.name;
  }
}

TEST_F(ThumbnailStills, OfRawFilesAreThePreviewThatFits) {
  const struct {
    const char* name;
    std::optional<RawPreview> preview;
    const char* expected;
  } rows[] = {
      {"none", {}, "320x240 RGBY"},
      {"small", RawPreview{160, 120, {}}, "160x120 RGBY"},
      {"with bars", RawPreview{160, 100, flat(kRed)}, "320x240 RGBY"},
      {"tiny", RawPreview{80, 60, flat(kRed)}, "320x240 RGBY"},
  };
  int number = 0;
  for (const auto& row : rows) {
    const PhotoRef ref = item(++number, "a.dng");
    makeDng(*ref.archivePath,
            {.width = 320, .height = 240, .painter = upright(), .preview = row.preview});
    EXPECT_EQ(thumbnail(ref), row.expected) << row.name;
  }
}

TEST_F(ThumbnailStills, OfVideosAreAnEarlyFrame) {
  const auto clip = [&](int number, const char* name, const ClipOptions& options) {
    const PhotoRef ref = item(number, name);
    makeClip(*ref.archivePath, options);
    return thumbnail(ref).substr(0, thumbnail(ref).find(' '));
  };
  EXPECT_EQ(clip(1, "long.MP4", {.width = 800, .height = 600, .seconds = 2}), "400x300");
  EXPECT_EQ(clip(2, "short.mov", {.container = ClipContainer::mov, .seconds = 0.5, .rotation = 90}),
            "48x64");
  EXPECT_EQ(clip(3, "sound.mp4", {.picture = false, .sound = true}), kNone);
  // The extension alone makes a video.
  const PhotoRef still = item(4, "still.mp4");
  makeStill(*still.archivePath, {});
  EXPECT_EQ(thumbnail(still), kNone);
}

TEST_F(ThumbnailStills, HoldNoMetadata) {
  const PhotoRef ref = item(1, "1.jpg");
  StillOptions options = with({160, 120, upright()});
  options.metadata.gps = GpsPosition{47.5, 8.5};
  options.metadata.exif = {{"Exif.Image.Make", "Northlight"}};
  options.metadata.xmp = {{"Xmp.dc.title", "Garden"}};
  makeStill(*ref.archivePath, options);
  ASSERT_EQ(ensure(ref).get(), RenditionState::made);
  ASSERT_NE(slurp(*ref.archivePath).find("Exif"), std::string::npos);
  const std::string made = slurp(*provider_->thumbnailFile(ref.id));
  for (const char* trace : {"Exif", "GPS", "Northlight", "Garden", "ICC_PROFILE"}) {
    EXPECT_EQ(made.find(trace), std::string::npos) << trace;
  }
}

TEST_F(ThumbnailStills, OfBrokenFilesAreUndecodable) {
  const std::string jpeg = stillBytes(still());
  const struct {
    const char* name;
    std::string bytes;
  } rows[] = {
      {"empty.jpg", ""},
      {"text.jpg", "Dear diary, this is no picture."},
      {"head.jpg", jpeg.substr(0, 100)},
      {"empty.mp4", ""},
      {"text.mov", "moov moov moov"},
      {"text.nef", "II*\x00 and no more"},
  };
  int number = 0;
  for (const auto& row : rows) {
    const PhotoRef ref = item(++number, row.name);
    writeText(*ref.archivePath, row.bytes);
    EXPECT_EQ(thumbnail(ref), kNone) << row.name;
    EXPECT_EQ(display(ref), kNone) << row.name;
  }
  fs::create_directory(archive() / "folder.jpg");
  EXPECT_EQ(thumbnail(item(++number, "folder.jpg")), "unavailable");
  EXPECT_EQ(filesBelow(cache()), std::vector<std::string>{"undecodable.txt"});

  // What breaks off later shows what there is.
  const PhotoRef cut = item(++number, "cut.jpg");
  writeText(*cut.archivePath, jpeg.substr(0, jpeg.size() / 2));
  EXPECT_EQ(thumbnail(cut).substr(0, 10), "400x300 RG");
}

}  // namespace
}  // namespace vaultmere
