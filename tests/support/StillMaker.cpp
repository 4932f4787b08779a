// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/StillMaker.h"

#include <fmt/format.h>
#include <vips/vips.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "tests/support/FileTools.h"
#include "tests/support/HeifFile.h"
#include "tests/support/Raster.h"

namespace vaultmere {

namespace {

struct Release {
  void operator()(VipsImage* image) const noexcept { g_object_unref(image); }
  void operator()(VipsBlob* blob) const noexcept { vips_area_unref(VIPS_AREA(blob)); }
};
using Picture = std::unique_ptr<VipsImage, Release>;
using Profile = std::unique_ptr<VipsBlob, Release>;

[[noreturn]] void fail(std::string_view what) {
  std::string words = vips_error_buffer();
  vips_error_clear();
  throw std::runtime_error(fmt::format("{}: {}", what, words));
}

void startVips() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (VIPS_INIT("vaultmere-test-media") != 0) fail("libvips");
  });
}

bool isHeif(const StillOptions& options) {
  return options.format == StillFormat::heic || options.format == StillFormat::avif;
}

void check(const StillOptions& options) {
  // libheif would pad such a picture and write it as a grid of one.
  if (options.format == StillFormat::heic && (std::min(options.width, options.height) < 64 ||
                                              options.width % 2 != 0 || options.height % 2 != 0)) {
    throw std::runtime_error("HEIC pictures have even sizes of at least 64 pixels");
  }
}

int shownOrientation(const StillOptions& options) {
  if (!options.upright) return 1;
  switch (options.containerRotation) {
    case 90:
      return 8;
    case 180:
      return 3;
    case 270:
      return 6;
    default:
      return options.metadata.orientation.value_or(1);
  }
}

Picture painted(const StillOptions& options) {
  const bool grey = options.colours == ColourModel::grey;
  const bool wide = options.bits > 8;
  RasterOptions raster{.width = options.width,
                       .height = options.height,
                       .bands = (grey ? 1 : 3) + (options.alpha ? 1 : 0),
                       .wide = wide,
                       .orientation = shownOrientation(options)};
  std::vector<std::uint8_t> pixels = paint(raster, options.painter);
  for (int frame = 1; frame < options.frames; ++frame) {
    raster.negative = !raster.negative;
    const std::vector<std::uint8_t> next = paint(raster, options.painter);
    pixels.insert(pixels.end(), next.begin(), next.end());
  }
  Picture picture(vips_image_new_from_memory_copy(pixels.data(), pixels.size(), options.width,
                                                  options.height * options.frames, raster.bands,
                                                  wide ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR));
  if (!picture) fail("painting");
  if (grey) {
    picture->Type = wide ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W;
  } else {
    picture->Type = wide ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB;
  }
  if (options.frames > 1) {
    vips_image_set_int(picture.get(), VIPS_META_PAGE_HEIGHT, options.height);
  }
  return picture;
}

void setBlob(VipsImage* picture, const char* name, std::string_view bytes) {
  vips_image_set_blob_copy(picture, name, bytes.data(), bytes.size());
}

Picture inked(Picture picture) {
  VipsImage* inks = nullptr;
  if (vips_icc_transform(picture.get(), &inks, "cmyk", "input_profile", "srgb", "intent",
                         VIPS_INTENT_RELATIVE, nullptr) != 0) {
    fail("converting colours into inks");
  }
  return Picture(inks);
}

void setProfile(VipsImage* picture, ColourProfile profile) {
  vips_image_remove(picture, VIPS_META_ICC_NAME);
  if (profile == ColourProfile::none) return;
  const char* name = profile == ColourProfile::srgb        ? "srgb"
                     : profile == ColourProfile::displayP3 ? "p3"
                                                           : "cmyk";
  VipsBlob* loaded = nullptr;
  if (vips_profile_load(name, &loaded, nullptr) != 0) fail("loading a profile");
  const Profile blob(loaded);
  std::size_t size = 0;
  const void* bytes = vips_blob_get(blob.get(), &size);
  setBlob(picture, VIPS_META_ICC_NAME, {static_cast<const char*>(bytes), size});
}

// libvips writes the EXIF block of HEIC and AVIF itself, and drops from it what
// it doesn't also find among its own fields.
void setHeifMetadata(VipsImage* picture, const Metadata& metadata) {
  const std::string exif = exifBlock(metadata);
  if (!exif.empty()) {
    setBlob(picture, VIPS_META_EXIF_NAME, std::string("Exif\0\0", 6) + exif);
  }
  const std::string xmp = xmpPacket(metadata);
  if (!xmp.empty()) setBlob(picture, VIPS_META_XMP_NAME, xmp);
  vips_image_set_int(picture, VIPS_META_ORIENTATION, metadata.orientation.value_or(1));
  if (metadata.thumbnail) {
    setBlob(picture, "jpeg-thumbnail-data",
            stillBytes({.width = metadata.thumbnail->width,
                        .height = metadata.thumbnail->height,
                        .painter = metadata.thumbnail->painter}));
  }
}

/// The suffix with the options that libvips writes a format by; empty for those
/// that ImageMagick writes.
std::string saverOf(const StillOptions& options) {
  const std::string quality = fmt::format("[Q={}", options.quality);
  const std::string interlace = options.progressive ? ",interlace]" : "]";
  const bool isBare = options.metadata.empty() && options.profile == ColourProfile::none;
  const std::string heif = fmt::format("{},effort=0,subsample-mode=on,bitdepth={}{}]", quality,
                                       options.bits, isBare ? ",strip" : "");
  switch (options.format) {
    case StillFormat::jpeg:
      return ".jpg" + quality + interlace;
    case StillFormat::heic:
      return ".heic" + heif;
    case StillFormat::avif:
      return ".avif" + heif;
    case StillFormat::png:
      return (options.colours == ColourModel::palette ? ".png[palette" : ".png[compression=6") +
             interlace;
    case StillFormat::webp:
      return ".webp" + quality + "]";
    case StillFormat::jp2:
      return ".jp2" + quality + "]";
    case StillFormat::tiff:
      return ".tif[compression=lzw]";
    case StillFormat::gif:
      return ".gif";
    case StillFormat::bmp:
    case StillFormat::psd:
      break;
  }
  return {};
}

std::string saved(VipsImage* picture, const StillOptions& options) {
  void* buffer = nullptr;
  std::size_t size = 0;
  const std::string saver = saverOf(options);
  const char* magick = options.format == StillFormat::bmp ? "BMP" : "PSD";
  const int failed =
      saver.empty() ? vips_magicksave_buffer(picture, &buffer, &size, "format", magick, nullptr)
                    : vips_image_write_to_buffer(picture, saver.c_str(), &buffer, &size, nullptr);
  if (failed != 0) fail("writing " + (saver.empty() ? magick : saver));
  std::string bytes(static_cast<const char*>(buffer), size);
  g_free(buffer);
  return bytes;
}

}  // namespace

std::string stillBytes(const StillOptions& options) {
  startVips();
  check(options);
  Picture picture = painted(options);
  if (options.colours == ColourModel::cmyk) picture = inked(std::move(picture));
  setProfile(picture.get(), options.profile);
  if (isHeif(options)) {
    if (!options.metadata.empty()) setHeifMetadata(picture.get(), options.metadata);
    const std::string bytes = saved(picture.get(), options);
    return options.containerRotation == 0 ? bytes
                                          : withHeifRotation(bytes, options.containerRotation);
  }
  std::string bytes = saved(picture.get(), options);
  // libvips puts an EXIF block of its own into these two.
  if (options.format == StillFormat::jpeg || options.format == StillFormat::webp) {
    bytes = withoutExif(bytes);
  }
  return options.metadata.empty() ? bytes : withMetadata(bytes, options.metadata);
}

void makeStill(const std::filesystem::path& path, const StillOptions& options) {
  writeText(path, stillBytes(options));
}

}  // namespace vaultmere
