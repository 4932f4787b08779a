// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/ImageDecoder.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "media/worker/RenderImage.h"

namespace vaultmere {
namespace {

constexpr auto kMaxBytes = static_cast<std::uint64_t>(kMaxDecodeBytes);

/// The longer side of the smallest thumbnail that stands for its picture: the
/// one that EXIF cameras write.
constexpr int kLeastEmbedded = 160;

/// And of the largest beside a HEIC's picture; no device writes larger ones.
constexpr int kMaxEmbedded = 2048;

/// How far the aspect ratio of a picture inside may be off: its sides are
/// rounded, but one with black bars or another crop is another picture.
constexpr double kAspectTolerance = 0.02;

/// Which pixels may be shown: the picture's alone, or those of one inside it.
enum class Show { picture, embedded };

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

double aspectOf(PixelSize size) {
  return static_cast<double>(std::max(size.width, size.height)) / std::min(size.width, size.height);
}

bool isPortrait(PixelSize size) { return size.width < size.height; }

/// True when a picture inside another one can stand for it. Either may be rotated.
bool canStandFor(PixelSize picture, PixelSize embedded) {
  const int longer = std::max(embedded.width, embedded.height);
  return longer >= kLeastEmbedded && longer < std::max(picture.width, picture.height) &&
         std::abs(aspectOf(embedded) / aspectOf(picture) - 1) <= kAspectTolerance;
}

std::optional<Bitmap> decodeStill(VipsStill& still, int maxPixels, std::optional<int> orientation) {
  const auto header = still.header();
  if (!header) {
    return std::nullopt;
  }
  const int rotation = orientation.value_or(header->orientation);
  const PixelSize size = fitted(header->size, maxPixels, rotation);
  const int shrink = shrinkFor(still, *header, maxPixels);
  if (decodeBytes(*header, shrink) > kMaxBytes) {
    return std::nullopt;
  }
  const Deadline deadline;
  VipsImageHandle image = still.open(shrink);
  auto bitmap = image ? render(image, size, rotation, deadline) : std::nullopt;
  if (!bitmap) {
    image = still.open(shrink);
    image = image ? readableRows(image, deadline) : nullptr;
    bitmap = image ? render(image, size, rotation, deadline) : std::nullopt;
  }
  return bitmap;
}

/// The thumbnail in a JPEG's EXIF, rotated like the picture.
std::optional<Bitmap> decodeExifThumbnail(VipsStill& still, int maxPixels) {
  const auto header = still.header();
  if (!header || !still.block("icc-profile-data").empty()) {
    return std::nullopt;  // nothing tells which colours the thumbnail is in
  }
  const std::string jpeg = still.block("jpeg-thumbnail-data");
  if (jpeg.empty()) {
    return std::nullopt;
  }
  VipsStill embedded({reinterpret_cast<const std::uint8_t*>(jpeg.data()), jpeg.size()});
  const auto thumbnail = embedded.header();
  if (!thumbnail || !canStandFor(header->size, thumbnail->size) ||
      isPortrait(header->size) != isPortrait(thumbnail->size)) {
    return std::nullopt;
  }
  return decodeStill(embedded, maxPixels, header->orientation);
}

/// The thumbnail beside a HEIC's picture. Each of the two is rotated by
/// properties of its own; where those of the thumbnail are missing, only a
/// quarter of a rotation shows in its shape.
std::optional<Bitmap> decodeHeifThumbnail(StillFile& still, int maxPixels) {
  const int orientation = still.heifOrientation().value_or(0);
  VipsStill& vips = still.vips();
  const auto picture = vips.header();
  const VipsImageHandle thumbnail = vips.openThumbnail();
  if ((orientation != 1 && orientation != 6 && orientation != 8) || !picture || !thumbnail ||
      vips.block("icc-profile-data") != blockOf(thumbnail, "icc-profile-data")) {
    return std::nullopt;
  }
  const PixelSize whole = picture->size;
  const VipsHeader header = headerOf(thumbnail);
  const PixelSize size = header.size;
  if (std::max(size.width, size.height) > kMaxEmbedded || !canStandFor(whole, size) ||
      isPortrait(whole) != isPortrait(size)) {
    return std::nullopt;
  }
  return decodeBytes(header, 1) > kMaxBytes
             ? std::nullopt
             : render(thumbnail, fitted(size, maxPixels, 1), 1, Deadline());
}

std::optional<Bitmap> decodeEmbedded(StillFile& still, int maxPixels) {
  switch (still.format()->container) {
    case ImageContainer::jpeg:
      return decodeExifThumbnail(still.vips(), maxPixels);
    case ImageContainer::heif:
      return decodeHeifThumbnail(still, maxPixels);
    default:
      return std::nullopt;
  }
}

/// The EXIF orientation, for the containers whose loader passes it by.
std::optional<int> orientationBeside(StillFile& still) {
  const ImageContainer container = still.format()->container;
  if (container != ImageContainer::png && container != ImageContainer::psd &&
      container != ImageContainer::jpeg2000) {
    return std::nullopt;
  }
  ImageProperties properties;
  still.metadata().addTo(properties);
  return static_cast<int>(properties.orientation.value_or(1));
}

bool isTransposed(int orientation) { return orientation >= 5; }

/// The EXIF code by which a preview is to be rotated. Most are stored as the sensor stood; one
/// whose shape is that of the rotated picture has been rotated by the camera.
int previewOrientation(const RawHeader& raw, const VipsHeader& preview) {
  const bool isTurned = isPortrait({raw.width, raw.height}) != isPortrait(preview.size);
  return isTransposed(raw.orientation) && isTurned ? 1 : raw.orientation;
}

/// The embedded JPEG, if it passes.
std::optional<Bitmap> decodePreview(std::span<const std::uint8_t> jpeg, const RawHeader& raw,
                                    int maxPixels, const std::function<bool(PixelSize)>& passes) {
  if (jpeg.empty()) {
    return std::nullopt;
  }
  VipsStill still(jpeg);
  const auto header = still.header();
  if (!header || !passes(header->size)) {
    return std::nullopt;
  }
  return decodeStill(still, maxPixels, previewOrientation(raw, *header));
}

std::optional<Bitmap> developScaled(RawFile& raw, int maxPixels) {
  const RawHeader& header = raw.header();
  const bool half =
      std::max(header.width, header.height) / 2 >= maxPixels || raw.developBytes(false) > kMaxBytes;
  const DevelopedRaw* developed = raw.developBytes(half) > kMaxBytes ? nullptr : raw.develop(half);
  if (developed == nullptr) {
    return std::nullopt;
  }
  const VipsImageHandle image =
      imageOver(developed->pixels, developed->width, developed->height, developed->bands);
  const PixelSize size =
      fitted({developed->width, developed->height}, maxPixels, header.orientation);
  return image ? render(image, size, header.orientation, Deadline()) : std::nullopt;
}

bool any(PixelSize /*size*/) { return true; }

/// A RAW file that LibRaw doesn't know, or can't read: the largest preview that
/// its structure tells of, else the first picture of a TIFF.
std::optional<Bitmap> decodeUnknownRaw(StillFile& still, int maxPixels) {
  RawHeader header;
  std::string jpeg;
  if (const auto& x3f = still.x3f()) {
    header = x3f->header;
    jpeg = x3f->preview;
  } else {
    ImageProperties properties;
    still.metadata().addTo(properties);
    constexpr double kMaxSide = 1 << 20;
    header.width = static_cast<int>(std::min(properties.pixelWidth.value_or(0), kMaxSide));
    header.height = static_cast<int>(std::min(properties.pixelHeight.value_or(0), kMaxSide));
    header.orientation = static_cast<int>(properties.orientation.value_or(1));
    jpeg = still.metadata().largestPreview();
  }
  auto preview = decodePreview({reinterpret_cast<const std::uint8_t*>(jpeg.data()), jpeg.size()},
                               header, maxPixels, any);
  if (!preview && still.format()->rawInTiff) {
    preview = decodeStill(still.vips(), maxPixels, std::nullopt);
  }
  return preview;
}

std::optional<Bitmap> decodeRaw(StillFile& still, int maxPixels, Show show) {
  RawFile* raw = still.raw();
  if (raw == nullptr) {
    return decodeUnknownRaw(still, maxPixels);
  }
  const PixelSize sensor{raw->header().width, raw->header().height};
  const int wanted = std::min(maxPixels, std::max(sensor.width, sensor.height));
  const auto passes = [&](PixelSize preview) {
    return std::max(preview.width, preview.height) >= wanted ||
           (show == Show::embedded && canStandFor(sensor, preview));
  };
  if (auto preview = decodePreview(raw->preview(), raw->header(), maxPixels, passes)) {
    return preview;
  }
  if (auto developed = developScaled(*raw, maxPixels)) {
    return developed;
  }
  auto preview = decodePreview(raw->preview(), raw->header(), maxPixels, any);
  return preview ? std::move(preview) : decodeUnknownRaw(still, maxPixels);
}

std::optional<Bitmap> decode(StillFile& still, int maxPixels, Show show) {
  try {
    if (!still.format() || maxPixels < 1) {
      return std::nullopt;
    }
    if (still.format()->container == ImageContainer::raw) {
      return decodeRaw(still, maxPixels, show);
    }
    if (const auto declared = declaredPixels(still.file(), *still.format())) {
      constexpr std::uint64_t kMaxSide = 1U << 20U;  // keeps the product in range
      if (declared->width > kMaxSide || declared->height > kMaxSide ||
          declared->width * declared->height * declared->bytesPerPixel > kMaxBytes) {
        return std::nullopt;
      }
    }
    auto embedded = show == Show::embedded ? decodeEmbedded(still, maxPixels) : std::nullopt;
    return embedded ? std::move(embedded)
                    : decodeStill(still.vips(), maxPixels, orientationBeside(still));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<Bitmap> decodeScaled(StillFile& still, int maxPixels) {
  return decode(still, maxPixels, Show::picture);
}

std::optional<Bitmap> decodeThumbnail(StillFile& still, int maxPixels) {
  return decode(still, maxPixels, Show::embedded);
}

}  // namespace vaultmere
