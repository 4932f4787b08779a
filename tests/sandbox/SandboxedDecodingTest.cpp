// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <vips/vips.h>

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

#include "media/EmbeddedMetadata.h"
#include "media/ImageDecoder.h"
#include "media/ImageProperties.h"
#include "media/RawFile.h"
#include "media/VideoFile.h"
#include "media/VipsStill.h"
#include "media/worker/Sandbox.h"
#include "tests/sandbox/Confined.h"
#include "tests/support/BitmapChecks.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

// The libraries start in the confined process, so that all that they load late is
// loaded there. This process must not start them: its children would inherit that.

int check(const std::optional<Bitmap>& bitmap) {
  constexpr int tolerance = 40;
  const std::string corners = cornersOf(bitmap, tolerance);
  if (corners != "RGBY") {
    static_cast<void>(std::fprintf(stderr, "%s\n", corners.c_str()));
    return EILSEQ;
  }
  return 0;
}

int showStill(const fs::path& path) {
  const auto properties = readImageProperties(path);
  return properties && properties->pixelWidth == 160 ? check(decodeScaled(path, 80)) : ENODATA;
}

/// ImageMagick loads its configuration and coders with the first picture. It takes
/// no path of a file in memory, but a descriptor.
int showByMagick(const fs::path& path, const char* coder) {
  const File file = File::openForReading(path);
  const std::string name = std::string(coder) + ":fd:" + std::to_string(file.descriptor());
  prepareVips();
  VipsImage* image = nullptr;
  if (vips_magickload(name.c_str(), &image, nullptr) != 0) {
    return EILSEQ;
  }
  return check(render(VipsImageHandle(image), {80, 60}, 1, Deadline{}));
}

int showBmp(const fs::path& path) { return showByMagick(path, "bmp"); }
int showPsd(const fs::path& path) { return showByMagick(path, "psd"); }

int showClip(const fs::path& path) {
  return readVideoProperties(path).track ? check(videoFrame(path, 0, 40)) : ENODATA;
}

int developRaw(const fs::path& path) {
  const File file = File::openForReading(path);
  const auto raw = RawFile::open(file);
  return raw && raw->develop(false) ? 0 : EILSEQ;
}

/// Copies a file into memory, which a confined process may open by path, and shows
/// it there.
std::string showConfined(const fs::path& path, int (*show)(const fs::path&)) {
  return endingOf([&] {
    const std::string bytes = slurp(path);
    const int memory = ::memfd_create("sample", MFD_CLOEXEC);
    if (::write(memory, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      return errno;
    }
    static_cast<void>(lockIn());
    return show("/proc/self/fd/" + std::to_string(memory));
  });
}

TEST(SandboxedDecoding, EveryFormatIsShown) {
  const TemporaryFolder folder;
  const fs::path path = folder / "sample";
  const auto still = [&](StillFormat format, bool progressive = false) {
    StillOptions options;
    options.format = format;
    options.width = 160;
    options.height = 120;
    options.painter = upright();
    options.progressive = progressive;
    options.profile = format == StillFormat::jpeg ? ColourProfile::displayP3 : ColourProfile::none;
    makeStill(path, options);
  };
  const auto clip = [&](ClipContainer container) {
    makeClip(path, {.container = container, .seconds = 0.2, .painter = upright()});
  };
  const struct {
    const char* name;
    std::function<void()> make;
    int (*show)(const fs::path&);
  } rows[] = {
      {"JPEG", [&] { still(StillFormat::jpeg); }, &showStill},
      {"progressive JPEG", [&] { still(StillFormat::jpeg, true); }, &showStill},
      {"HEIC", [&] { still(StillFormat::heic); }, &showStill},
      {"AVIF", [&] { still(StillFormat::avif); }, &showStill},
      {"PNG", [&] { still(StillFormat::png); }, &showStill},
      {"WebP", [&] { still(StillFormat::webp); }, &showStill},
      {"GIF", [&] { still(StillFormat::gif); }, &showStill},
      {"TIFF", [&] { still(StillFormat::tiff); }, &showStill},
      {"BMP", [&] { still(StillFormat::bmp); }, &showBmp},
      {"PSD", [&] { still(StillFormat::psd); }, &showPsd},
      {"JPEG 2000", [&] { still(StillFormat::jp2); }, &showStill},
      {"DNG", [&] { makeDng(path); }, &developRaw},
      {"MP4", [&] { clip(ClipContainer::mp4); }, &showClip},
      {"MOV", [&] { clip(ClipContainer::mov); }, &showClip},
      {"Matroska", [&] { clip(ClipContainer::mkv); }, &showClip},
      {"WebM", [&] { clip(ClipContainer::webm); }, &showClip},
      {"3GP", [&] { clip(ClipContainer::threeGp); }, &showClip},
      {"AVI", [&] { clip(ClipContainer::avi); }, &showClip},
      {"MPEG", [&] { clip(ClipContainer::mpeg); }, &showClip},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(endingOf([&] { return row.make(), 0; }), "works") << row.name;
    EXPECT_EQ(showConfined(path, row.show), "works") << row.name;
  }
}

TEST(SandboxedDecoding, PassedFilesAreReadByTheirDescriptor) {
  const TemporaryFolder folder;
  const fs::path path = folder / "sample.dng";
  ASSERT_EQ(endingOf([&] { return makeDng(path), 0; }), "works");
  EXPECT_EQ(
      endingOf([&] {
        const File file = File::openForReading(path);
        static_cast<void>(lockIn());
        ImageProperties properties;
        readEmbeddedMetadata(file, {ImageContainer::raw, "image/x-adobe-dng", true}, properties);
        const auto raw = RawFile::open(file);
        return properties.tiff.contains("Make") && raw && raw->develop(false) ? 0 : EILSEQ;
      }),
      "works");
}

}  // namespace
}  // namespace vaultmere
