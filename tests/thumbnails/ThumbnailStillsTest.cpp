// SPDX-License-Identifier: GPL-3.0-or-later
#include <variant>

#include "tests/thumbnails/ThumbnailFixture.h"

namespace vaultmere {
namespace {

using Thumbnails = ThumbnailFixture;

StillOptions still(int width = 800, int height = 600) {
  return {.width = width, .height = height, .painter = upright()};
}

StillOptions onItsSide(StillOptions options) {
  options.painter = turnedBack();
  options.metadata.orientation = 6;
  return options;
}

/// A JPEG with a thumbnail inside.
StillOptions with(const EmbeddedThumbnail& thumbnail, StillOptions options = still()) {
  options.metadata.thumbnail = thumbnail;
  return options;
}

StillOptions withProfile(StillOptions options) {
  options.profile = ColourProfile::srgb;
  return options;
}

DngOptions raw(std::optional<RawPreview> preview) {
  return {.width = 320, .height = 240, .painter = upright(), .preview = std::move(preview)};
}

TEST_F(Thumbnails, ShowTheEmbeddedThumbnailWhenItFitsTheOriginal) {
  const struct {
    const char* name;
    std::variant<StillOptions, DngOptions> original;
    const char* expected;
  } rows[] = {
      {"none, on its side", onItsSide(still()), "300x400 RGBY"},
      {"none, small", still(96, 64), "96x64 RGBY"},
      {"fits", with({160, 120, upright()}), "160x120 RGBY"},
      {"fits, larger", with({480, 360, upright()}), "400x300 RGBY"},
      {"fits, on its side", onItsSide(with({160, 120, turnedBack()})), "120x160 RGBY"},
      {"turned by the camera", onItsSide(with({120, 160, flat(kRed)})), "300x400 RGBY"},
      {"with bars", with({160, 120, flat(kRed)}, still(800, 534)), "400x267 RGBY"},
      {"as large as the picture", with({192, 144, flat(kRed)}, still(192, 144)), "192x144 RGBY"},
      {"tiny", with({64, 48, flat(kRed)}), "400x300 RGBY"},
      {"of unknown colours", withProfile(with({160, 120, flat(kRed)})), "400x300 RGBY"},
      {"RAW, none", raw({}), "320x240 RGBY"},
      {"RAW, fits", raw(RawPreview{160, 120, {}}), "160x120 RGBY"},
      {"RAW, with bars", raw(RawPreview{160, 100, flat(kRed)}), "320x240 RGBY"},
      {"RAW, tiny", raw(RawPreview{80, 60, flat(kRed)}), "320x240 RGBY"},
  };
  int number = 0;
  for (const auto& row : rows) {
    ++number;
    const PhotoRef ref = item(number, std::to_string(number) + ".still");
    if (const auto* options = std::get_if<StillOptions>(&row.original)) {
      makeStill(*ref.archivePath, *options);
    } else {
      makeDng(*ref.archivePath, std::get<DngOptions>(row.original));
    }
    EXPECT_EQ(thumbnail(ref), row.expected) << row.name;
  }
}

TEST_F(Thumbnails, OfVideosAreAnEarlyFrame) {
  const auto clip = [&](int number, const char* name, const ClipOptions& options) {
    const PhotoRef ref = item(number, name);
    makeClip(*ref.archivePath, options);
    const std::string shown = thumbnail(ref);
    return shown.substr(0, shown.find(' '));
  };
  EXPECT_EQ(clip(1, "long.MP4", {.width = 800, .height = 600, .seconds = 2}), "400x300");
  EXPECT_EQ(clip(2, "short.mov", {.container = ClipContainer::mov, .seconds = 0.5, .rotation = 90}),
            "48x64");
  EXPECT_EQ(clip(3, "sound.mp4", {.picture = false, .sound = true}), "undecodable");
}

TEST_F(Thumbnails, HoldNoMetadata) {
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

TEST_F(Thumbnails, OfBrokenFilesAreUndecodable) {
  const std::string jpeg = stillBytes(still());
  const std::pair<const char*, std::string> rows[] = {
      {"empty.jpg", ""},     {"head.jpg", jpeg.substr(0, 100)},   {"empty.mp4", ""},
      {"picture.mp4", jpeg}, {"text.nef", "II*\x00 and no more"},
  };
  int number = 0;
  for (const auto& [name, bytes] : rows) {
    const PhotoRef ref = item(++number, name);
    writeText(*ref.archivePath, bytes);
    EXPECT_EQ(thumbnail(ref), "undecodable") << name;
    EXPECT_EQ(display(ref), "undecodable") << name;
  }
  fs::create_directory(archive() / "folder.jpg");
  EXPECT_EQ(thumbnail(item(++number, "folder.jpg")), "unavailable");
  EXPECT_EQ(filesBelow(cache()), std::vector<std::string>{"undecodable.txt"});
  const PhotoRef cut = item(++number, "cut.jpg");
  writeText(*cut.archivePath, jpeg.substr(0, jpeg.size() / 2));
  EXPECT_EQ(thumbnail(cut).substr(0, 10), "400x300 RG") << "shows what there is";
}

}  // namespace
}  // namespace vaultmere
