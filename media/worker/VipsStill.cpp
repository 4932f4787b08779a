// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/VipsStill.h"

#include <fmt/format.h>
#include <unistd.h>
#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "media/worker/ByteView.h"
#include "media/worker/HeifCompatibility.h"

namespace vaultmere {
namespace {

/// GIF and WebP files are read whole, because their loaders would map them into
/// memory, where a drive that is pulled out ends the process. Real ones are far
/// smaller than this.
constexpr std::uint64_t kMaxWholeFile = std::uint64_t{256} << 20;

bool isReadWhole(ImageContainer container) {
  return container == ImageContainer::gif || container == ImageContainer::webp;
}

/// A file of which some parts are read as others.
struct PatchedFile {
  const File& file;
  std::vector<FilePart> replacements;
  gint64 position = 0;

  gint64 read(void* buffer, gint64 length) {
    const std::string bytes =
        readAt(file, static_cast<std::uint64_t>(position), static_cast<std::size_t>(length));
    auto* out = static_cast<char*>(buffer);
    std::copy(bytes.begin(), bytes.end(), out);
    const auto begin = static_cast<std::uint64_t>(position);
    const std::uint64_t end = begin + bytes.size();
    for (const FilePart& part : replacements) {
      const std::uint64_t from = std::max(begin, part.offset);
      const std::uint64_t to = std::min(end, part.offset + part.bytes.size());
      if (from < to) {
        part.bytes.copy(out + (from - begin), static_cast<std::size_t>(to - from),
                        static_cast<std::size_t>(from - part.offset));
      }
    }
    position += static_cast<gint64>(bytes.size());
    return static_cast<gint64>(bytes.size());
  }

  gint64 seek(gint64 offset, int whence) {
    const gint64 from = whence == SEEK_SET   ? 0
                        : whence == SEEK_CUR ? position
                                             : gint64{file.status().stamp.size};
    if (offset < -from) {
      return -1;
    }
    return position = from + offset;
  }
};

VipsSource* patchedSource(const File& file, std::vector<FilePart> replacements) {
  VipsSourceCustom* source = vips_source_custom_new();
  auto* const patched = new PatchedFile{file, std::move(replacements)};
  g_object_set_data_full(G_OBJECT(source), "vaultmere-file", patched,
                         [](gpointer self) { delete static_cast<PatchedFile*>(self); });
  g_signal_connect(source, "read",
                   G_CALLBACK(+[](VipsSourceCustom*, void* buffer, gint64 length,
                                  PatchedFile* self) { return self->read(buffer, length); }),
                   patched);
  g_signal_connect(source, "seek",
                   G_CALLBACK(+[](VipsSourceCustom*, gint64 offset, int whence, PatchedFile* self) {
                     return self->seek(offset, whence);
                   }),
                   patched);
  return VIPS_SOURCE(source);
}

VipsSource* sourceOver(const File& file, ImageContainer container) {
  if (container == ImageContainer::heif) {
    auto replacements = heifReplacements(file);
    if (!replacements.empty()) {
      return patchedSource(file, std::move(replacements));
    }
  }
  if (!isReadWhole(container)) {
    return vips_source_new_from_descriptor(file.descriptor());
  }
  const auto size = static_cast<std::uint64_t>(file.status().stamp.size);
  if (size > kMaxWholeFile) {
    return nullptr;
  }
  const std::string bytes = readAt(file, 0, static_cast<std::size_t>(size));
  VipsBlob* blob = vips_blob_copy(bytes.data(), bytes.size());
  VipsSource* source = vips_source_new_from_blob(blob);
  vips_area_unref(VIPS_AREA(blob));
  return source;
}

/// How many rows at a time are read of a damaged image.
constexpr int kStripRows = 8;

}  // namespace

void prepareVips() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (vips_init("vaultmere") != 0) {
      throw std::runtime_error("libvips: " + takeVipsError());
    }
    vips_cache_set_max(0);
    vips_concurrency_set(1);
    g_log_set_handler(
        "VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
        [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
  });
}

void VipsRelease::operator()(_VipsImage* image) const noexcept { g_object_unref(image); }
void VipsRelease::operator()(_VipsSource* source) const noexcept { g_object_unref(source); }

std::string takeVipsError() {
  std::string words = vips_error_buffer();
  vips_error_clear();
  return words;
}

VipsStill::VipsStill(const File& file, const ImageFormat& format) : format_(format) {
  prepareVips();
  const bool bmp = format.container == ImageContainer::bmp;
  if (bmp || format.container == ImageContainer::psd) {
    // The prefix binds ImageMagick to one coder, whatever else the bytes look like. It
    // reads the descriptor from where that stands, and opens no path.
    magickName_ = fmt::format("{}:fd:{}", bmp ? "bmp" : "psd", file.descriptor());
    descriptor_ = file.descriptor();
  } else {
    source_.reset(sourceOver(file, format.container));
  }
}

VipsStill::VipsStill(std::span<const std::uint8_t> jpeg)
    : format_{ImageContainer::jpeg, "image/jpeg", false} {
  prepareVips();
  source_.reset(vips_source_new_from_memory(jpeg.data(), jpeg.size()));
}

const VipsImageHandle& VipsStill::unread() {
  if (!unread_) {
    unread_ = load(1);
  }
  return unread_;
}

std::optional<VipsHeader> VipsStill::header() {
  if (!header_) {
    header_.emplace(unread() ? std::optional(headerOf(unread_)) : std::nullopt);
  }
  return *header_;
}

std::string VipsStill::block(const char* name) {
  return unread() ? blockOf(unread_, name) : std::string();
}

VipsImageHandle VipsStill::open(int shrink) {
  VipsImageHandle opened = std::move(unread_);
  return opened && shrink == 1 ? std::move(opened) : load(shrink);
}

VipsImageHandle VipsStill::load(int shrink) const {
  VipsSource* source = source_.get();
  if (source == nullptr && magickName_.empty()) {
    return nullptr;
  }
  VipsImage* image = nullptr;
  const auto access = VIPS_ACCESS_SEQUENTIAL;
  switch (format_.container) {
    case ImageContainer::jpeg:
      vips_jpegload_source(source, &image, "access", access, "shrink", shrink, nullptr);
      break;
    case ImageContainer::webp:
      vips_webpload_source(source, &image, "access", access, "scale", 1.0 / shrink, nullptr);
      break;
    case ImageContainer::png:
      // By default this loader makes black rows of those that a cut file lacks.
      vips_pngload_source(source, &image, "access", access, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                          nullptr);
      break;
    case ImageContainer::gif:
      vips_gifload_source(source, &image, "access", access, nullptr);
      break;
    case ImageContainer::heif:
      vips_heifload_source(source, &image, "access", access, nullptr);
      break;
    case ImageContainer::jpeg2000:
      vips_jp2kload_source(source, &image, "access", access, nullptr);
      break;
    case ImageContainer::tiff:
    case ImageContainer::raw:
      vips_tiffload_source(source, &image, "access", access, nullptr);
      break;
    case ImageContainer::bmp:
    case ImageContainer::psd:
      if (::lseek(descriptor_, 0, SEEK_SET) == 0) {
        vips_magickload(magickName_.c_str(), &image, "access", access, nullptr);
      }
      break;
  }
  if (image == nullptr) {
    vips_error_clear();
  }
  return VipsImageHandle(image);
}

VipsImageHandle VipsStill::openThumbnail() const {
  VipsImage* image = nullptr;
  if (format_.container == ImageContainer::heif && source_ &&
      vips_heifload_source(source_.get(), &image, "access", VIPS_ACCESS_SEQUENTIAL, "thumbnail",
                           TRUE, nullptr) != 0) {
    vips_error_clear();
  }
  return VipsImageHandle(image);
}

bool VipsStill::canShrink() const {
  return format_.container == ImageContainer::jpeg || format_.container == ImageContainer::webp;
}

VipsHeader headerOf(const VipsImageHandle& image) {
  VipsImage* in = image.get();
  VipsHeader header;
  header.size = {vips_image_get_width(in), vips_image_get_height(in)};
  header.bytesPerPixel = static_cast<std::uint64_t>(vips_image_get_bands(in)) *
                         vips_format_sizeof(vips_image_get_format(in));
  header.orientation = vips_image_get_orientation(in);
  int multiscan = 0;
  header.keepsCoefficients = vips_image_get_typeof(in, "jpeg-multiscan") != 0 &&
                             vips_image_get_int(in, "jpeg-multiscan", &multiscan) == 0 &&
                             multiscan != 0;
  return header;
}

std::string blockOf(const VipsImageHandle& image, const char* name) {
  const void* data = nullptr;
  std::size_t size = 0;
  if (vips_image_get_typeof(image.get(), name) != VIPS_TYPE_BLOB ||
      vips_image_get_blob(image.get(), name, &data, &size) != 0) {
    return {};
  }
  return {static_cast<const char*>(data), size};
}

VipsImageHandle imageOver(std::span<const std::uint8_t> pixels, int width, int height, int bands) {
  const std::size_t needed = static_cast<std::size_t>(std::max(0, width)) *
                             static_cast<std::size_t>(std::max(0, height)) *
                             static_cast<std::size_t>(bands);
  if (needed == 0 || pixels.size() < needed) {
    return nullptr;
  }
  prepareVips();
  VipsImage* image = vips_image_new_from_memory(pixels.data(), pixels.size(), width, height, bands,
                                                VIPS_FORMAT_UCHAR);
  if (image == nullptr) {
    vips_error_clear();
    return nullptr;
  }
  image->Type = bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
  return VipsImageHandle(image);
}

VipsImageHandle readableRows(const VipsImageHandle& image, const Deadline& deadline) {
  VipsImageHandle copy(vips_image_new_memory());
  if (vips_image_pipelinev(copy.get(), VIPS_DEMAND_STYLE_THINSTRIP, image.get(), nullptr) != 0) {
    vips_error_clear();
    return nullptr;
  }
  const std::unique_ptr<VipsRegion, decltype(&g_object_unref)> region(vips_region_new(image.get()),
                                                                      &g_object_unref);
  const VipsHeader header = headerOf(image);
  const std::size_t rowBytes =
      static_cast<std::size_t>(header.bytesPerPixel) * static_cast<std::size_t>(header.size.width);
  std::vector<VipsPel> grey(rowBytes, 0x80);
  bool readable = true;
  for (int top = 0; top < header.size.height; top += kStripRows) {
    if (deadline.isOver()) {
      vips_error_clear();
      return nullptr;
    }
    const int rows = std::min(kStripRows, header.size.height - top);
    std::size_t size = 0;
    const std::unique_ptr<VipsPel, decltype(&g_free)> strip(
        readable ? vips_region_fetch(region.get(), 0, top, header.size.width, rows, &size)
                 : nullptr,
        &g_free);
    readable = strip != nullptr;
    if (!readable && top == 0) {
      vips_error_clear();
      return nullptr;
    }
    for (int row = 0; row < rows; ++row) {
      VipsPel* pixels =
          readable ? strip.get() + static_cast<std::size_t>(row) * rowBytes : grey.data();
      if (vips_image_write_line(copy.get(), top + row, pixels) != 0) {
        vips_error_clear();
        return nullptr;
      }
    }
  }
  vips_error_clear();
  return copy;
}

}  // namespace vaultmere
