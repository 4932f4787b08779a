// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "media/DecodeAdmission.h"
#include "media/ImageDecoder.h"
#include "media/ImageProperties.h"
#include "media/VipsStill.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

constexpr Colour kRed{200, 40, 40};
constexpr Colour kGreen{40, 180, 60};
constexpr Colour kBlue{40, 60, 200};
constexpr Colour kYellow{220, 200, 40};
using Corners = std::array<Colour, 4>;  // top left, top right, bottom left, bottom right
constexpr Corners kUpright{kRed, kGreen, kBlue, kYellow};

Painter painted(const Corners& c) { return quarters(c[0], c[1], c[2], c[3]); }

Colour colourAt(const Bitmap& bitmap, double x, double y) {
  const auto column = static_cast<std::size_t>(x * bitmap.width);
  const auto row = static_cast<std::size_t>(y * bitmap.height);
  const std::size_t at = (row * static_cast<std::size_t>(bitmap.width) + column) * 4;
  return {bitmap.pixels.at(at), bitmap.pixels.at(at + 1), bitmap.pixels.at(at + 2),
          bitmap.pixels.at(at + 3)};
}

bool isNear(Colour a, Colour b, int tolerance) {
  return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
         std::abs(a.blue - b.blue) <= tolerance && std::abs(a.alpha - b.alpha) <= tolerance;
}

/// Which of the four colours stand in the corners, as in "RGBY"; "-" for none.
std::string cornersOf(const std::optional<Bitmap>& bitmap, int tolerance = 30) {
  if (!bitmap) {
    return "absent";
  }
  std::string letters;
  for (const auto& [x, y] : {std::pair{0.25, 0.25}, {0.75, 0.25}, {0.25, 0.75}, {0.75, 0.75}}) {
    char letter = '-';
    for (std::size_t i = 0; i < kUpright.size(); ++i) {
      letter = isNear(colourAt(*bitmap, x, y), kUpright.at(i), tolerance) ? "RGBY"[i] : letter;
    }
    letters += letter;
  }
  return letters;
}

std::string sizeOf(const std::optional<Bitmap>& bitmap) {
  return bitmap ? std::to_string(bitmap->width) + "x" + std::to_string(bitmap->height) : "absent";
}

StillOptions still(StillFormat format) {
  StillOptions options;
  options.format = format;
  options.width = 160;
  options.height = 120;
  options.painter = painted(kUpright);
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
  for (const auto& row : rows) {
    makeStill(folder / "still", row.options);
    const auto bitmap = decodeScaled(folder / "still", 80);
    EXPECT_EQ(cornersOf(bitmap, row.tolerance), "RGBY") << row.name;
    EXPECT_EQ(sizeOf(bitmap), "80x60") << row.name;
  }
}

TEST_F(ImageDecoder, ConvertsWideGamutAndGrey) {
  StillOptions wide = still(StillFormat::jpeg);
  wide.painter = flat({200, 80, 80});
  wide.profile = ColourProfile::displayP3;
  makeStill(folder / "wide.jpg", wide);
  const auto red = decodeScaled(folder / "wide.jpg", 40);
  ASSERT_TRUE(red);
  EXPECT_TRUE(isNear(colourAt(*red, 0.5, 0.5), {214, 72, 76}, 6));

  for (const StillFormat format : {StillFormat::jpeg, StillFormat::png, StillFormat::tiff}) {
    StillOptions grey = still(format);
    grey.painter = flat({90, 90, 90});
    grey.colours = ColourModel::grey;
    makeStill(folder / "grey", grey);
    const auto bitmap = decodeScaled(folder / "grey", 40);
    ASSERT_TRUE(bitmap);
    EXPECT_TRUE(isNear(colourAt(*bitmap, 0.5, 0.5), {90, 90, 90}, 3));
  }
}

TEST_F(ImageDecoder, PassesOverAProfileForOtherPixels) {
  // Three channels' profile on a grey picture: some programs leave it there.
  StillOptions wide = still(StillFormat::jpeg);
  wide.profile = ColourProfile::displayP3;
  makeStill(folder / "profiled.jpg", wide);
  const std::string profiled = slurp(folder / "profiled.jpg");
  const std::size_t segment = profiled.find("ICC_PROFILE") - 4;
  const auto byteAt = [&](std::size_t at) {
    return std::size_t{static_cast<unsigned char>(profiled.at(at))};
  };
  const std::size_t length = 2 + byteAt(segment + 2) * 256 + byteAt(segment + 3);
  StillOptions odd = still(StillFormat::jpeg);
  odd.painter = flat({90, 90, 90});
  odd.colours = ColourModel::grey;
  makeStill(folder / "odd.jpg", odd);
  const std::string grey = slurp(folder / "odd.jpg");
  writeText(folder / "odd.jpg",
            grey.substr(0, 2) + profiled.substr(segment, length) + grey.substr(2));
  const auto bitmap = decodeScaled(folder / "odd.jpg", 40);
  ASSERT_TRUE(bitmap);
  EXPECT_TRUE(isNear(colourAt(*bitmap, 0.5, 0.5), {90, 90, 90}, 3));
}

TEST_F(ImageDecoder, PremultipliesTransparency) {
  StillOptions options = still(StillFormat::png);
  options.alpha = true;
  options.painter = margin(0.25, flat({200, 100, 50, 128}));
  makeStill(folder / "glass.png", options);
  const auto bitmap = decodeScaled(folder / "glass.png", 160);
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(colourAt(*bitmap, 0.05, 0.05), (Colour{0, 0, 0, 0}));
  EXPECT_TRUE(isNear(colourAt(*bitmap, 0.5, 0.5), {100, 50, 25, 128}, 1));
}

TEST_F(ImageDecoder, RotatesEveryOrientationUpright) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const std::string size = orientation < 5 ? "80x60" : "60x80";
    for (const StillFormat format : {StillFormat::jpeg, StillFormat::png, StillFormat::webp,
                                     StillFormat::tiff, StillFormat::psd, StillFormat::jp2}) {
      StillOptions options = still(format);
      options.upright = true;
      options.metadata.orientation = orientation;
      makeStill(folder / "turned", options);
      const auto bitmap = decodeScaled(folder / "turned", 80);
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

TEST_F(ImageDecoder, LooksAtTheContentNotAtTheName) {
  makeStill(folder / "really-a-png.jpg", still(StillFormat::png));
  EXPECT_EQ(cornersOf(decodeScaled(folder / "really-a-png.jpg", 80)), "RGBY");
  makeStill(folder / "bytes\xFF\n\".heic", still(StillFormat::jpeg));
  EXPECT_EQ(cornersOf(decodeScaled(folder / "bytes\xFF\n\".heic", 80)), "RGBY");
}

TEST_F(ImageDecoder, RefusesWhatIsNoImageAndNeverWaitsForIt) {
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
  ASSERT_EQ(::mkfifo((folder / "pipe.jpg").c_str(), 0600), 0);
  for (const fs::path& path :
       {folder / "pipe.jpg", folder / "missing.jpg", folder.path(), fs::path("/dev/zero")}) {
    EXPECT_FALSE(decodeScaled(path, 64)) << path;
    EXPECT_FALSE(readImageProperties(path)) << path;
  }
  writeText(folder / "begun.jpg", "\xFF\xD8\xFF");
  EXPECT_FALSE(decodeScaled(folder / "begun.jpg", 64));
  const auto begun = readImageProperties(folder / "begun.jpg");
  ASSERT_TRUE(begun);
  EXPECT_EQ(begun->mimeType, "image/jpeg");
  EXPECT_FALSE(begun->pixelWidth);
}

TEST_F(ImageDecoder, RefusesAPictureLargerThanMemoryMayBe) {
  makePngBomb(folder / "bomb.png");
  const auto peak = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
  };
  const auto before = peak();
  EXPECT_FALSE(decodeScaled(folder / "bomb.png", 64));
  EXPECT_LT(peak() - before, 64) << "megabytes";
}

TEST_F(ImageDecoder, ShowsTheSoundPartOfADamagedFile) {
  const auto topOf = [](const std::optional<Bitmap>& bitmap) {
    return cornersOf(bitmap).substr(0, 2);
  };
  StillOptions options = still(StillFormat::jpeg);
  options.width = 1600;
  options.height = 1200;
  for (const bool progressive : {false, true}) {
    options.progressive = progressive;
    makeStill(folder / "cut.jpg", options);
    truncateFile(folder / "cut.jpg", std::filesystem::file_size(folder / "cut.jpg") * 7 / 10);
    EXPECT_EQ(topOf(decodeScaled(folder / "cut.jpg", 64)), "RG");
    EXPECT_EQ(topOf(decodeScaled(folder / "cut.jpg", 1600)), "RG");
  }

  options.format = StillFormat::png;
  options.progressive = false;
  const Painter coloured = options.painter;
  options.painter = [coloured, noise = spots(3)](double x,
                                                 double y) {  // so that it has many chunks
    return mix(coloured(x, y), noise(x, y), 0.05);
  };
  makeStill(folder / "cut.png", options);
  truncateFile(folder / "cut.png", std::filesystem::file_size(folder / "cut.png") * 7 / 10);
  EXPECT_EQ(topOf(decodeScaled(folder / "cut.png", 64)), "RG");
  truncateFile(folder / "cut.png", 60);
  EXPECT_FALSE(decodeScaled(folder / "cut.png", 64));
}

TEST_F(ImageDecoder, GivesUpWhatTakesTooLong) {
  makeStill(folder / "a.jpg", still(StillFormat::jpeg));
  const File file = File::openForReading(folder / "a.jpg");
  const VipsStill opened(file, recogniseImage(file).value());
  for (const bool isLate : {false, true}) {
    Deadline deadline;
    deadline.at -= isLate ? std::chrono::minutes(10) : std::chrono::minutes(0);
    EXPECT_EQ(!render(opened.open(), {80, 60}, 1, deadline), isLate);
    EXPECT_EQ(!readableRows(opened.open(), deadline), isLate);
  }
}

TEST_F(ImageDecoder, ShowsARawFilesPreviewWhenItIsLargeEnough) {
  const Corners swapped{kYellow, kBlue, kGreen, kRed};
  DngOptions options;
  options.width = 640;
  options.height = 480;
  options.painter = painted(kUpright);
  options.preview = RawPreview{320, 240, painted(swapped)};
  makeDng(folder / "a.dng", options);
  EXPECT_EQ(cornersOf(decodeScaled(folder / "a.dng", 320)), "YBGR");
  EXPECT_EQ(cornersOf(decodeScaled(folder / "a.dng", 64)), "YBGR");

  const auto developed = decodeScaled(folder / "a.dng", 400);
  EXPECT_EQ(sizeOf(developed), "400x300");
  EXPECT_EQ(cornersOf(developed, 70), "RGBY");

  options.preview.reset();
  options.metadata.orientation = 6;
  makeDng(folder / "called.jpg", options);
  const auto turned = decodeScaled(folder / "called.jpg", 240);
  EXPECT_EQ(sizeOf(turned), "180x240");
  EXPECT_EQ(cornersOf(turned, 70), "BRYG");

  options.preview = RawPreview{320, 240, painted(kUpright)};
  makeDng(folder / "b.dng", options);
  EXPECT_EQ(cornersOf(decodeScaled(folder / "b.dng", 64)), "BRYG") << "stored as the sensor stood";
  options.preview = RawPreview{240, 320, painted({kBlue, kRed, kYellow, kGreen})};
  makeDng(folder / "b.dng", options);
  EXPECT_EQ(cornersOf(decodeScaled(folder / "b.dng", 64)), "BRYG") << "turned by the camera";
}

TEST_F(ImageDecoder, ShowsThePreviewOfUnknownRawFiles) {
  DngOptions options;
  options.width = 640;
  options.height = 480;
  options.isKnown = false;
  options.preview = RawPreview{320, 240, painted(kUpright)};
  options.metadata.orientation = 6;
  makeDng(folder / "a.nef", options);
  EXPECT_EQ(cornersOf(decodeScaled(folder / "a.nef", 64)), "BRYG");
  options.preview.reset();
  makeDng(folder / "a.nef", options);
  EXPECT_EQ(sizeOf(decodeScaled(folder / "a.nef", 64)), "24x32") << "the first picture of the TIFF";

  writeText(folder / "a.x3f", x3fBytes({.width = 2640,
                                        .height = 1760,
                                        .rotation = 90,
                                        .preview = stillBytes(still(StillFormat::jpeg))}));
  EXPECT_EQ(cornersOf(decodeScaled(folder / "a.x3f", 64)), "BRYG");
}

// Without the lock, the second one is admitted while the first is held.
TEST_F(ImageDecoder, AdmitsOneLargeDecodeAtATime) {
  auto first = admitDecode(kLargeDecodeBytes + 1);
  const auto small = admitDecode(kLargeDecodeBytes);
  std::atomic<bool> isReleased = false;
  std::atomic<bool> hasEnded = false;
  std::atomic<pid_t> thread = 0;
  bool hasWaited = false;
  std::jthread other([&] {
    thread = ::gettid();
    const auto second = admitDecode(kLargeDecodeBytes + 1);
    hasWaited = isReleased;
    hasEnded = true;
  });
  const auto isAsleep = [&] {
    std::string status;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/stat"), status);
    return status.find(") S ") != std::string::npos;
  };
  while (!hasEnded && !isAsleep()) {
    std::this_thread::yield();
  }
  isReleased = true;
  first.unlock();
  other.join();
  EXPECT_TRUE(hasWaited);
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
