// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "media/worker/ByteView.h"
#include "media/worker/RenderImage.h"
#include "tests/support/BitmapChecks.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TiffFile.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

StillOptions still(StillFormat format) {
  StillOptions options;
  options.format = format;
  options.width = 160;
  options.height = 120;
  options.painter = upright();
  return options;
}

class ImageDecoder : public ::testing::Test {
 protected:
  TemporaryFolder folder;
};

TEST_F(ImageDecoder, ShowsEveryKindOfStillInItsColours) {
  const auto with = [](StillFormat format, auto change) {
    StillOptions options = still(format);
    change(options);
    return options;
  };
  const struct {
    const char* name;
    StillOptions options;
    int tolerance = 30;
  } rows[] = {
      {"JPEG", still(StillFormat::jpeg)},
      {"progressive JPEG", with(StillFormat::jpeg, [](auto& o) { o.progressive = true; })},
      {"CMYK JPEG",  // inks don't reach all of these colours
       with(StillFormat::jpeg,
            [](auto& o) {
              o.colours = ColourModel::cmyk;
              o.profile = ColourProfile::cmyk;
            }),
       75},
      {"HEIC", still(StillFormat::heic)},
      {"10-bit HEIC", with(StillFormat::heic, [](auto& o) { o.bits = 10; })},
      {"AVIF", still(StillFormat::avif)},
      {"PNG", still(StillFormat::png)},
      {"16-bit PNG", with(StillFormat::png, [](auto& o) { o.bits = 16; })},
      {"palette PNG", with(StillFormat::png, [](auto& o) { o.colours = ColourModel::palette; })},
      {"interlaced PNG", with(StillFormat::png, [](auto& o) { o.progressive = true; })},
      {"PNG with sRGB profile",
       with(StillFormat::png, [](auto& o) { o.profile = ColourProfile::srgb; })},
      {"WebP", still(StillFormat::webp)},
      {"animated WebP", with(StillFormat::webp, [](auto& o) { o.frames = 3; })},
      {"GIF", still(StillFormat::gif)},
      {"animated GIF", with(StillFormat::gif, [](auto& o) { o.frames = 3; })},
      {"TIFF", still(StillFormat::tiff)},
      {"16-bit TIFF", with(StillFormat::tiff, [](auto& o) { o.bits = 16; })},
      {"BMP", still(StillFormat::bmp)},
      {"PSD", still(StillFormat::psd)},
      {"JPEG 2000", still(StillFormat::jp2)},
  };
  const fs::path path = folder / "any\xFF\n\".heic";  // the content decides
  for (const auto& row : rows) {
    makeStill(path, row.options);
    const auto bitmap = decodeScaled(path, 80);
    EXPECT_EQ(cornersOf(bitmap, row.tolerance), "RGBY") << row.name;
    EXPECT_EQ(sizeOf(bitmap), "80x60") << row.name;
  }
}

TEST_F(ImageDecoder, ConvertsToPremultipliedSrgb) {
  const auto bytesOf = [](StillFormat format, Colour colour, auto change) {
    StillOptions options = still(format);
    options.painter = flat(colour);
    change(options);
    return stillBytes(options);
  };
  const auto grey = [](auto& o) { o.colours = ColourModel::grey; };
  const std::string wide = bytesOf(StillFormat::jpeg, {200, 80, 80},
                                   [](auto& o) { o.profile = ColourProfile::displayP3; });
  // Three channels' profile on a grey picture, as some programs write it.
  const std::string greyJpeg = bytesOf(StillFormat::jpeg, {90, 90, 90}, grey);
  const std::size_t segment = wide.find("ICC_PROFILE") - 4;
  const auto length = ByteView(wide).number(segment + 2, 2).value() + 2;
  const struct {
    const char* name;
    std::string bytes;
    Colour colour;
    int tolerance;
  } rows[] = {
      {"wide gamut", wide, {214, 72, 76}, 6},
      {"grey JPEG", greyJpeg, {90, 90, 90}, 3},
      {"grey PNG", bytesOf(StillFormat::png, {90, 90, 90}, grey), {90, 90, 90}, 3},
      {"grey TIFF", bytesOf(StillFormat::tiff, {90, 90, 90}, grey), {90, 90, 90}, 3},
      {"profile for other pixels",
       greyJpeg.substr(0, 2) + wide.substr(segment, length) + greyJpeg.substr(2),
       {90, 90, 90},
       3},
      {"half transparent",
       bytesOf(StillFormat::png, {200, 100, 50, 128}, [](auto& o) { o.alpha = true; }),
       {100, 50, 25, 128},
       1},
      {"transparent",
       bytesOf(StillFormat::png, {200, 100, 50, 0}, [](auto& o) { o.alpha = true; }),
       {0, 0, 0, 0},
       0},
  };
  for (const auto& row : rows) {
    writeText(folder / "a", row.bytes);
    const auto bitmap = decodeScaled(folder / "a", 40);
    ASSERT_TRUE(bitmap) << row.name;
    EXPECT_TRUE(isNear(colourAt(*bitmap, 0.5, 0.5), row.colour, row.tolerance)) << row.name;
  }
}

TEST_F(ImageDecoder, RotatesEveryOrientationUpright) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const std::string size = orientation < 5 ? "80x60" : "60x80";
    for (const StillFormat format : {StillFormat::jpeg, StillFormat::png, StillFormat::webp,
                                     StillFormat::tiff, StillFormat::psd, StillFormat::jp2}) {
      StillOptions options = still(format);
      options.upright = true;
      options.metadata.orientation = orientation;
      makeStill(folder / "rotated", options);
      const auto bitmap = decodeScaled(folder / "rotated", 80);
      EXPECT_EQ(cornersOf(bitmap), "RGBY") << int(format) << " with " << orientation;
      EXPECT_EQ(sizeOf(bitmap), size) << int(format) << " with " << orientation;
    }
  }
}

TEST_F(ImageDecoder, RotatesHeifOnceWhateverExifSays) {
  const struct {
    int containerRotation;
    std::optional<int> exif;
    const char* corners;  // of the picture that is stored as RGBY
    const char* size;
    int orientation;
  } rows[] = {
      {270, 6, "BRYG", "60x80", 6},  // as phones write it
      {270, std::nullopt, "BRYG", "60x80", 6},
      {90, 8, "GYRB", "60x80", 8},
      {180, 3, "YBGR", "80x60", 3},
      {270, 1, "BRYG", "60x80", 6},
      {0, 6, "RGBY", "80x60", 1},
  };
  for (const StillFormat format : {StillFormat::heic, StillFormat::avif}) {
    for (const auto& row : rows) {
      StillOptions options = still(format);
      options.containerRotation = row.containerRotation;
      options.metadata.orientation = row.exif;
      makeStill(folder / "phone.heic", options);
      const auto bitmap = decodeScaled(folder / "phone.heic", 80);
      EXPECT_EQ(cornersOf(bitmap), row.corners)
          << row.containerRotation << " " << row.exif.value_or(0);
      EXPECT_EQ(sizeOf(bitmap), row.size) << row.containerRotation << " " << row.exif.value_or(0);
      const auto properties = readImageProperties(folder / "phone.heic");
      EXPECT_EQ(properties->orientation, row.orientation) << row.containerRotation;
      EXPECT_EQ(properties->pixelWidth, 160) << "as stored";
    }
  }
}

TEST_F(ImageDecoder, BoundsTheLongerSideAndEnlargesNothing) {
  const struct {
    int width, height, maxPixels;
    const char* size;
  } rows[] = {
      {2000, 1500, 64, "64x48"}, {1500, 2000, 64, "48x64"},    {2000, 1500, 1024, "1024x768"},
      {50, 40, 64, "50x40"},     {64, 64, 64, "64x64"},        {1, 1, 64, "1x1"},
      {2000, 2, 64, "64x1"},     {1001, 1001, 500, "500x500"},
  };
  for (const auto& row : rows) {
    StillOptions options = still(StillFormat::jpeg);
    options.width = row.width;
    options.height = row.height;
    makeStill(folder / "a.jpg", options);
    EXPECT_EQ(sizeOf(decodeScaled(folder / "a.jpg", row.maxPixels)), row.size);
  }
}

TEST_F(ImageDecoder, RefusesWhatIsNoImage) {
  const struct {
    const char* name;
    std::string_view bytes;
  } rows[] = {
      {"empty.jpg", ""},
      {"text.jpg", "not a picture at all, but long enough to look like one"},
      {"letter.bmp", "BMW is a maker of cars; this is a letter to them about one."},
      {"drawing.png", "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>"},
      {"paper.jpg", "%PDF-1.4\n1 0 obj<</Type/Catalog>>endobj"},
      {"portable.jpg", "P3 1 1 255 255 0 0\n"},
      {"script.jpg", "push graphic-context\nviewbox 0 0 9 9\nimage over 0,0 0,0 'x'\n"},
      {"playlist.tif", "#EXTM3U\nhttp://localhost/1.jpg\n"},
      {"film.heic",
       {"\0\0\0\x14"
        "ftypqt  \0\0\0\0qt  ",
        20}},
  };
  for (const auto& row : rows) {
    writeText(folder / row.name, row.bytes);
    EXPECT_EQ(decodeScaled(folder / row.name, 64), std::nullopt) << row.name;
    EXPECT_FALSE(readImageProperties(folder / row.name)) << row.name;
  }
  writeText(folder / "begun.jpg", "\xFF\xD8\xFF");
  EXPECT_FALSE(decodeScaled(folder / "begun.jpg", 64));
  const auto begun = readImageProperties(folder / "begun.jpg");
  ASSERT_TRUE(begun);
  EXPECT_EQ(begun->mimeType, "image/jpeg");
  EXPECT_FALSE(begun->pixelWidth);
}

TEST_F(ImageDecoder, RefusesAPictureLargerThanMemoryMayBe) {
  const auto peak = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
  };
  for (const std::uint32_t side : {1'000U, 20'000U}) {
    const std::uint32_t bytes = 3 * side * side;
    TiffFile file;
    TiffDirectory directory;
    const std::map<std::uint16_t, std::uint32_t> values{
        {256, side}, {257, side}, {262, 2}, {273, 1000}, {277, 3}, {278, side}, {279, bytes}};
    for (const auto& [tag, value] : values) directory.longs(tag, {value});
    directory.shorts(258, {8, 8, 8});  // bits
    writeText(folder / "black.tif", file.finish(directory));
    fs::resize_file(folder / "black.tif", std::uintmax_t{1000} + bytes);  // sparse
    const auto before = peak();
    EXPECT_EQ(decodeScaled(folder / "black.tif", 64).has_value(), side == 1'000) << side;
    EXPECT_LT(peak() - before, 64) << "megabytes";
  }
}

TEST_F(ImageDecoder, ShowsTheSoundPartOfADamagedFile) {
  const struct {
    StillFormat format;
    bool progressive;
  } rows[] = {{StillFormat::jpeg, false}, {StillFormat::jpeg, true}, {StillFormat::png, false}};
  for (const auto& row : rows) {
    StillOptions options = still(row.format);
    options.width = 1600;
    options.height = 1200;
    options.progressive = row.progressive;
    options.painter = [noise = spots(3)](double x, double y) {  // so that a PNG has many chunks
      return mix(upright()(x, y), noise(x, y), 0.05);
    };
    makeStill(folder / "cut", options);
    truncateFile(folder / "cut", fs::file_size(folder / "cut") * 7 / 10);
    for (const int maxPixels : {64, 1600}) {
      EXPECT_EQ(cornersOf(decodeScaled(folder / "cut", maxPixels)).substr(0, 2), "RG");
    }
    truncateFile(folder / "cut", 60);
    EXPECT_FALSE(decodeScaled(folder / "cut", 64));
  }
}

TEST_F(ImageDecoder, ShowsOneOpenedFileInSeveralSizes) {
  const auto equal = [](const std::optional<Bitmap>& a, const std::optional<Bitmap>& b) {
    return a && b && std::ranges::equal(a->pixels.bytes(), b->pixels.bytes());
  };
  constexpr std::array kFormats{StillFormat::jpeg, StillFormat::heic, StillFormat::png,
                                StillFormat::webp, StillFormat::tiff, StillFormat::gif,
                                StillFormat::bmp,  StillFormat::psd,  StillFormat::jp2};
  for (std::size_t i = 0; i <= kFormats.size(); ++i) {
    const std::string name = std::to_string(i);
    const fs::path path = folder / name;
    if (i < kFormats.size()) {
      makeStill(path, still(kFormats.at(i)));
    } else {
      makeDng(path, {.width = 320, .height = 240, .painter = upright()});
    }
    const File file = File::openForReading(path);
    StillFile opened(file);
    ASSERT_TRUE(readImageProperties(opened)) << name;
    for (const int maxPixels : {40, 300, 80, 40}) {  // in two sizes of a developed RAW
      EXPECT_TRUE(equal(decodeScaled(opened, maxPixels), decodeScaled(path, maxPixels)))
          << name << ' ' << maxPixels;
    }
  }
}

TEST_F(ImageDecoder, GivesUpWhatTakesTooLong) {
  makeStill(folder / "a.jpg", still(StillFormat::jpeg));
  const File file = File::openForReading(folder / "a.jpg");
  VipsStill opened(file, recogniseImage(file).value());
  for (const bool isLate : {false, true}) {
    Deadline deadline;
    deadline.at -= isLate ? std::chrono::minutes(10) : std::chrono::minutes(0);
    EXPECT_EQ(!render(opened.open(), {80, 60}, 1, deadline), isLate);
    EXPECT_EQ(!readableRows(opened.open(), deadline), isLate);
  }
}

TEST_F(ImageDecoder, ShowsTheSmallestSufficientPictureOfARawFile) {
  const RawPreview swapped{320, 240, quarters(kYellow, kBlue, kGreen, kRed)};
  const RawPreview stored{320, 240, upright()};
  const RawPreview rotated{240, 320, quarters(kBlue, kRed, kYellow, kGreen)};
  const struct {
    const char* name;
    const char* file;
    std::optional<RawPreview> preview;
    int orientation;
    int maxPixels;
    const char* size;
    const char* corners;
    int tolerance = 30;  // more for developed pictures
  } rows[] = {
      {"preview of the size", "a.dng", swapped, 1, 320, "320x240", "YBGR"},
      {"larger preview", "a.dng", swapped, 1, 64, "64x48", "YBGR"},
      {"preview that is too small", "a.dng", swapped, 1, 400, "400x300", "RGBY", 70},
      {"none", "called.jpg", std::nullopt, 6, 240, "180x240", "BRYG", 70},
      {"preview stored as the sensor stood", "b.dng", stored, 6, 64, "48x64", "BRYG"},
      {"preview rotated by the camera", "b.dng", rotated, 6, 64, "48x64", "BRYG"},
      {"unknown camera", "a.nef", stored, 6, 64, "48x64", "BRYG"},
      {"the first picture of the TIFF", "a.nef", std::nullopt, 6, 64, "24x32", "----"},
  };
  for (const auto& row : rows) {
    makeDng(folder / row.file, {.width = 640,
                                .height = 480,
                                .painter = upright(),
                                .preview = row.preview,
                                .isKnown = !std::string_view(row.file).ends_with(".nef"),
                                .metadata = {.orientation = row.orientation}});
    const auto bitmap = decodeScaled(folder / row.file, row.maxPixels);
    EXPECT_EQ(sizeOf(bitmap), row.size) << row.name;
    EXPECT_EQ(cornersOf(bitmap, row.tolerance), row.corners) << row.name;
  }
  writeText(folder / "a.x3f", x3fBytes({.width = 2640,
                                        .height = 1760,
                                        .rotation = 90,
                                        .preview = stillBytes(still(StillFormat::jpeg))}));
  EXPECT_EQ(cornersOf(decodeScaled(folder / "a.x3f", 64)), "BRYG");
}

TEST_F(ImageDecoder, WorksOnManyThreads) {
  std::vector<std::filesystem::path> paths;
  for (const StillFormat format : {StillFormat::jpeg, StillFormat::heic, StillFormat::webp,
                                   StillFormat::psd, StillFormat::tiff}) {
    StillOptions options = still(format);
    options.metadata.xmp = {{"Xmp.aux.Lens", "50mm"}};
    if (format == StillFormat::tiff) {  // large enough to wait for others
      options.width = options.height = 4800;
      options.bits = 16;
      options.painter = flat(kGreen);
    }
    paths.push_back(folder / std::to_string(paths.size()));
    makeStill(paths.back(), options);
  }
  DngOptions raw;
  raw.metadata.xmp = {{"Xmp.aux.Lens", "50mm"}};
  makeDng(folder / "raw", raw);
  paths.push_back(folder / "raw");
  std::array<std::jthread, 4> threads;
  for (std::jthread& thread : threads) {
    thread = std::jthread([&paths] {
      for (const auto& path : paths) {
        EXPECT_TRUE(decodeScaled(path, 64)) << path;
        EXPECT_EQ(readImageProperties(path).value().exifAux.size(), 1U) << path;
      }
    });
  }
}

}  // namespace
}  // namespace vaultmere
