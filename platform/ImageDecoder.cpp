// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ImageDecoder.h"

#include <algorithm>
#include <exception>
#include <mutex>

#include "platform/EmbeddedMetadata.h"
#include "platform/Files.h"
#include "platform/ImageFormat.h"
#include "platform/RawFile.h"
#include "platform/VipsStill.h"

namespace vaultmere {
namespace {

/// Decodes that take more than this wait for one another, so that a folder of
/// panoramas doesn't take the memory of all of them at once.
constexpr std::uint64_t kLargeDecodeBytes = std::uint64_t{128} << 20;

constexpr auto kMaxBytes = static_cast<std::uint64_t>(kMaxDecodeBytes);

std::unique_lock<std::mutex> placeFor(std::uint64_t bytes) {
  static std::mutex largeDecode;
  std::unique_lock<std::mutex> lock(largeDecode, std::defer_lock);
  if (bytes > kLargeDecodeBytes) {
    lock.lock();
  }
  return lock;
}

/// The largest reduction that the loader offers and that leaves `maxPixels`, and
/// a row or column of even the narrowest strip: the loader ends the process over
/// one that comes out empty.
int shrinkFor(const VipsStill& still, const VipsHeader& header, int maxPixels) {
  if (!still.canShrink()) {
    return 1;
  }
  const auto [shorter, longer] = std::minmax(header.size.width, header.size.height);
  int shrink = 8;
  while (shrink > 1 && (longer / shrink < maxPixels || shorter < shrink)) {
    shrink /= 2;
  }
  return shrink;
}

std::uint64_t decodeBytes(const VipsHeader& header, int shrink) {
  const std::uint64_t pixels = static_cast<std::uint64_t>(header.size.width) *
                               static_cast<std::uint64_t>(header.size.height);
  const auto factor = static_cast<std::uint64_t>(shrink);
  const std::uint64_t coefficients = header.keepsCoefficients ? pixels * 2 : 0;
  return (pixels / (factor * factor) + coefficients) * header.bytesPerPixel;
}

std::optional<Bitmap> decodeStill(const VipsStill& still, int maxPixels,
                                  std::optional<int> orientation) {
  VipsImageHandle image = still.open();
  if (!image) {
    return std::nullopt;
  }
  const VipsHeader header = headerOf(image);
  const int turn = orientation.value_or(header.orientation);
  const PixelSize size = fitted(header.size, maxPixels, turn);
  const int shrink = shrinkFor(still, header, maxPixels);
  const std::uint64_t bytes = decodeBytes(header, shrink);
  if (bytes > kMaxBytes) {
    return std::nullopt;
  }
  const auto place = placeFor(bytes);
  if (shrink > 1) {
    image = still.open(shrink);
  }
  auto bitmap = image ? render(image, size, turn) : std::nullopt;
  if (!bitmap) {
    image = still.open(shrink);
    image = image ? readableRows(image) : nullptr;
    bitmap = image ? render(image, size, turn) : std::nullopt;
  }
  return bitmap;
}

/// The EXIF orientation, for the containers whose loader passes it by.
std::optional<int> orientationBeside(const File& file, const ImageFormat& format) {
  if (format.container != ImageContainer::png && format.container != ImageContainer::psd &&
      format.container != ImageContainer::jpeg2000) {
    return std::nullopt;
  }
  ImageProperties properties;
  readEmbeddedMetadata(file, format, properties);
  return static_cast<int>(properties.orientation.value_or(1));
}

bool isTransposed(int orientation) { return orientation >= 5; }

/// The turn that a preview needs. Most are stored as the sensor stood; one whose
/// shape is that of the turned picture has been turned by the camera.
int previewOrientation(const RawHeader& raw, const VipsHeader& preview) {
  const bool sensorIsUpright = raw.width < raw.height;
  const bool previewIsUpright = preview.size.width < preview.size.height;
  return isTransposed(raw.orientation) && sensorIsUpright != previewIsUpright ? 1 : raw.orientation;
}

/// The embedded JPEG; absent when it is smaller than `atLeast` pixels.
std::optional<Bitmap> decodePreview(RawFile& raw, int maxPixels, int atLeast) {
  const auto jpeg = raw.preview();
  if (jpeg.empty()) {
    return std::nullopt;
  }
  const VipsStill still(jpeg);
  const VipsImageHandle image = still.open();
  if (!image) {
    return std::nullopt;
  }
  const VipsHeader header = headerOf(image);
  if (std::max(header.size.width, header.size.height) < atLeast) {
    return std::nullopt;
  }
  return decodeStill(still, maxPixels, previewOrientation(raw.header(), header));
}

std::optional<Bitmap> developScaled(RawFile& raw, int maxPixels) {
  const RawHeader& header = raw.header();
  const bool half =
      std::max(header.width, header.height) / 2 >= maxPixels || raw.developBytes(false) > kMaxBytes;
  const std::uint64_t bytes = raw.developBytes(half);
  if (bytes > kMaxBytes) {
    return std::nullopt;
  }
  const auto place = placeFor(bytes);
  const auto developed = raw.develop(half);
  if (!developed) {
    return std::nullopt;
  }
  const VipsImageHandle image =
      imageOver(developed->pixels, developed->width, developed->height, developed->bands);
  const PixelSize size =
      fitted({developed->width, developed->height}, maxPixels, header.orientation);
  return image ? render(image, size, header.orientation) : std::nullopt;
}

std::optional<Bitmap> decodeRaw(const File& file, const ImageFormat& format, int maxPixels) {
  const auto raw = RawFile::open(file);
  if (!raw) {
    return format.rawInTiff ? decodeStill(VipsStill(file, format), maxPixels, std::nullopt)
                            : std::nullopt;
  }
  const int size = std::max(raw->header().width, raw->header().height);
  if (auto preview = decodePreview(*raw, maxPixels, std::min(maxPixels, size))) {
    return preview;
  }
  if (auto developed = developScaled(*raw, maxPixels)) {
    return developed;
  }
  return decodePreview(*raw, maxPixels, 1);
}

}  // namespace

std::optional<Bitmap> decodeScaled(const std::filesystem::path& path, int maxPixels) {
  try {
    const File file = File::openForReading(path);
    const auto format = recogniseImage(file);
    if (!format || maxPixels < 1) {
      return std::nullopt;
    }
    if (format->container == ImageContainer::raw) {
      return decodeRaw(file, *format, maxPixels);
    }
    if (const auto declared = declaredPixels(file, *format)) {
      constexpr std::uint64_t kMaxSide = 1U << 20U;  // keeps the product in range
      if (declared->width > kMaxSide || declared->height > kMaxSide ||
          declared->width * declared->height * declared->bytesPerPixel > kMaxBytes) {
        return std::nullopt;
      }
    }
    return decodeStill(VipsStill(file, *format), maxPixels, orientationBeside(file, *format));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace vaultmere
