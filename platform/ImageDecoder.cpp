// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ImageDecoder.h"

#include <algorithm>
#include <exception>
#include <mutex>

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

std::unique_lock<std::mutex> turnFor(std::uint64_t bytes) {
  static std::mutex largeDecode;
  std::unique_lock<std::mutex> lock(largeDecode, std::defer_lock);
  if (bytes > kLargeDecodeBytes) {
    lock.lock();
  }
  return lock;
}

/// The largest reduction that the loader offers and that leaves `maxPixels`.
int shrinkFor(const VipsStill& still, const VipsHeader& header, int maxPixels) {
  if (!still.canShrink()) {
    return 1;
  }
  const int side = std::max(header.width, header.height);
  int shrink = 8;
  while (shrink > 1 && side / shrink < maxPixels) {
    shrink /= 2;
  }
  return shrink;
}

std::uint64_t decodeBytes(const VipsHeader& header, int shrink) {
  const std::uint64_t pixels =
      static_cast<std::uint64_t>(header.width) * static_cast<std::uint64_t>(header.height);
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
  const int shrink = shrinkFor(still, header, maxPixels);
  const std::uint64_t bytes = decodeBytes(header, shrink);
  if (bytes > kMaxBytes) {
    return std::nullopt;
  }
  const auto turn = turnFor(bytes);
  if (shrink > 1) {
    image = still.open(shrink);
  }
  return image ? render(image, maxPixels, orientation) : std::nullopt;
}

bool isTransposed(int orientation) { return orientation >= 5; }

/// The turn that a preview needs. Most are stored as the sensor stood; one whose
/// shape is that of the turned picture has been turned by the camera.
int previewOrientation(const RawHeader& raw, const VipsHeader& preview) {
  const bool sensorIsUpright = raw.width < raw.height;
  const bool previewIsUpright = preview.width < preview.height;
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
  if (std::max(header.width, header.height) < atLeast) {
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
  const auto turn = turnFor(bytes);
  const auto developed = raw.develop(half);
  if (!developed) {
    return std::nullopt;
  }
  const VipsImageHandle image =
      imageOver(developed->pixels, developed->width, developed->height, developed->bands);
  return image ? render(image, maxPixels, header.orientation) : std::nullopt;
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
    return decodeStill(VipsStill(file, *format), maxPixels, std::nullopt);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace vaultmere
