// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/RenderImage.h"

#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "media/MediaMessages.h"

namespace vaultmere {
namespace {

/// From this size on a bitmap is written into the memory that is sent, and not kept
/// beside it.
constexpr std::size_t kLeastShared = std::size_t{1} << 20;

void giveUpWhenLate(VipsImage* image, VipsProgress* /*progress*/, const Deadline* deadline) {
  if (deadline->isOver()) {
    vips_image_set_kill(image, TRUE);
  }
}

/// Takes whole rows of a bitmap, `offset` being in bytes.
using WriteRows = std::function<void(std::size_t offset, std::span<const std::uint8_t> rows)>;

/// Where the rows of a picture go as they are decoded.
struct Target {
  const WriteRows& write;
  std::size_t rowBytes;
  std::vector<std::uint8_t> strip;  ///< as many rows as the library gives at once
};

/// Copies RGB, or premultiplies RGBA.
void convertRow(const std::uint8_t* in, std::size_t bands, std::size_t count, std::uint8_t* out) {
  if (bands == 3) {
    for (std::size_t i = 0; i < count; ++i) {
      out[i * 4] = in[i * 3];
      out[i * 4 + 1] = in[i * 3 + 1];
      out[i * 4 + 2] = in[i * 3 + 2];
      out[i * 4 + 3] = 255;
    }
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned alpha = in[i * 4 + 3];
    for (std::size_t c = 0; c < 3; ++c) {
      out[i * 4 + c] = static_cast<std::uint8_t>((in[i * 4 + c] * alpha + 127U) / 255U);
    }
    out[i * 4 + 3] = static_cast<std::uint8_t>(alpha);
  }
}

/// Of strips that are as wide as the image.
int writeStrip(VipsRegion* region, VipsRect* area, void* opaque) {
  auto& target = *static_cast<Target*>(opaque);
  const auto bands = static_cast<std::size_t>(region->im->Bands);
  const auto rows = static_cast<std::size_t>(area->height);
  target.strip.resize(std::max(target.strip.size(), rows * target.rowBytes));
  for (int row = 0; row < area->height; ++row) {
    const VipsPel* in = region->data + (area->top + row - region->valid.top) * region->bpl +
                        (area->left - region->valid.left) * region->im->Bands;
    convertRow(in, bands, static_cast<std::size_t>(area->width),
               target.strip.data() + static_cast<std::size_t>(row) * target.rowBytes);
  }
  try {
    target.write(static_cast<std::size_t>(area->top) * target.rowBytes,
                 std::span(target.strip).first(rows * target.rowBytes));
    return 0;
  } catch (const FileError&) {
    return -1;
  }
}

/// Decodes the image, and writes it strip by strip.
bool writeTo(VipsImage* image, const WriteRows& write, const Deadline& deadline) {
  vips_image_set_progress(image, TRUE);
  Deadline until = deadline;
  g_signal_connect(image, "eval", G_CALLBACK(giveUpWhenLate), &until);
  Target target{write, static_cast<std::size_t>(vips_image_get_width(image)) * 4, {}};
  return vips_sink_disc(image, &writeStrip, &target) == 0;
}

/// The image with its own orientation replaced.
VipsImageHandle withOrientation(VipsImage* image, int orientation) {
  VipsImage* copy = nullptr;
  if (vips_copy(image, &copy, nullptr) != 0) {
    return nullptr;
  }
  vips_image_set_int(copy, VIPS_META_ORIENTATION, orientation);
  return VipsImageHandle(copy);
}

/// Exactly at the size: left to itself, the library takes a long strip down to
/// no rows at all, and ends the process over it.
///
/// An image without a profile, or with one that isn't for its kind of pixels,
/// is left out of colour management, whose tables take as long to build as a
/// small picture to decode.
VipsImageHandle scaled(VipsImage* image, PixelSize size) {
  VipsImage* out = nullptr;
  if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) == 0 ||
      vips_thumbnail_image(image, &out, size.width, "height", size.height, "size", VIPS_SIZE_FORCE,
                           "export_profile", "srgb", nullptr) != 0) {
    vips_thumbnail_image(image, &out, size.width, "height", size.height, "size", VIPS_SIZE_FORCE,
                         nullptr);
  }
  return VipsImageHandle(out);
}

/// Whether an upright image has the size, the colours and no alpha already: it isn't
/// worth a pass through the library, and every pixel stays as it was decoded.
bool isAsShown(const VipsImageHandle& image, PixelSize size) {
  return headerOf(image).size == size && vips_image_get_bands(image.get()) == 3 &&
         vips_image_get_format(image.get()) == VIPS_FORMAT_UCHAR &&
         vips_image_get_interpretation(image.get()) == VIPS_INTERPRETATION_sRGB &&
         vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) == 0;
}

/// Three or four bands of sRGB bytes, whatever the image had.
VipsImageHandle inSrgb(VipsImageHandle image) {
  VipsImage* out = nullptr;
  if (vips_image_get_interpretation(image.get()) != VIPS_INTERPRETATION_sRGB ||
      vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR) {
    if (vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_sRGB, nullptr) != 0) {
      return nullptr;
    }
    image.reset(out);
  }
  if (vips_image_get_bands(image.get()) > 4) {
    if (vips_extract_band(image.get(), &out, 0, "n", 4, nullptr) != 0) {
      return nullptr;
    }
    image.reset(out);
  }
  return vips_image_get_bands(image.get()) >= 3 ? std::move(image) : nullptr;
}

}  // namespace

PixelSize fitted(PixelSize size, int maxPixels, int orientation) {
  if (orientation >= 5) {
    std::swap(size.width, size.height);
  }
  const double scale =
      std::min(1.0, static_cast<double>(maxPixels) / std::max(size.width, size.height));
  const auto side = [&](int full) {
    return std::max(1, static_cast<int>(std::lround(full * scale)));
  };
  return {side(size.width), side(size.height)};
}

std::optional<Bitmap> render(const VipsImageHandle& image, PixelSize size, int orientation,
                             const Deadline& deadline) {
  const std::uint64_t bytes =
      static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height) * 4;
  if (deadline.isOver() || bytes > kMaxPictureBytes) {
    return std::nullopt;
  }
  VipsImageHandle out = withOrientation(image.get(), orientation);
  if (out && (orientation != 1 || !isAsShown(out, size))) {
    out = scaled(out.get(), size);
  }
  out = out ? inSrgb(std::move(out)) : nullptr;
  if (!out || headerOf(out).size != size) {
    vips_error_clear();
    return std::nullopt;
  }
  if (bytes < kLeastShared) {
    std::vector<std::uint8_t> pixels(bytes);
    const auto write = [&](std::size_t offset, std::span<const std::uint8_t> rows) {
      std::copy(rows.begin(), rows.end(), pixels.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    if (writeTo(out.get(), write, deadline)) {
      return Bitmap{size.width, size.height, std::move(pixels)};
    }
  } else {
    auto pixels = std::make_shared<MemoryFile>(bytes);
    const auto write = [&](std::size_t offset, std::span<const std::uint8_t> rows) {
      pixels->write(offset, rows);
    };
    if (writeTo(out.get(), write, deadline)) {
      return Bitmap{size.width, size.height, PixelBuffer(std::move(pixels))};
    }
  }
  vips_error_clear();
  return std::nullopt;
}

}  // namespace vaultmere
