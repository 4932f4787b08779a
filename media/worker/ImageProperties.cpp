// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/ImageProperties.h"

#include <exception>
#include <utility>

#include "media/worker/HeifOrientation.h"

namespace vaultmere {
namespace {

/// HEIC, HEIF and AVIF: the loader gives the size as it shows the image, so that
/// the stored one is found by rotating back. The EXIF tag doesn't count here.
void readHeif(StillFile& still, ImageProperties& properties) {
  VipsStill& picture = still.vips();
  const auto header = picture.header();
  const std::string exif = header ? picture.block("exif-data") : "";
  if (exif.empty()) {
    // A cut file may still have its tags, and the loader looks at 16 blocks only.
    still.metadata().addTo(properties);
  }
  if (header) {
    std::string xmp = picture.block("xmp-data");
    if (xmp.empty()) {
      xmp = picture.block("heif-mime-1");
    }
    readMetadataBlocks(exif, xmp, properties);
  }
  const auto orientation = still.heifOrientation();
  properties.orientation = orientation;
  if (header) {
    const bool transposed = orientation.value_or(1) >= 5;
    properties.pixelWidth = transposed ? header->size.height : header->size.width;
    properties.pixelHeight = transposed ? header->size.width : header->size.height;
  } else if (const auto size = heifSize(still.file())) {
    properties.pixelWidth = static_cast<double>(size->width);
    properties.pixelHeight = static_cast<double>(size->height);
  }
}

void putMissing(PropertyDictionary& dictionary, const char* key, const std::string& value) {
  if (!value.empty()) {
    dictionary.try_emplace(key, value);
  }
}

void putMissing(PropertyDictionary& dictionary, const char* key, double value) {
  if (value > 0) {
    dictionary.try_emplace(key, value);
  }
}

/// RAW kinds whose tags the metadata library doesn't know still have a camera
/// and a date.
void putMissing(ImageProperties& properties, const RawHeader& raw) {
  putMissing(properties.tiff, "Make", raw.make);
  putMissing(properties.tiff, "Model", raw.model);
  putMissing(properties.exif, "LensModel", raw.lens);
  putMissing(properties.exif, "DateTimeOriginal", raw.dateTime);
  putMissing(properties.exif, "ExposureTime", raw.exposureTime);
  putMissing(properties.exif, "FNumber", raw.fNumber);
  putMissing(properties.exif, "FocalLength", raw.focalLength);
  if (raw.iso > 0) {
    properties.exif.try_emplace("ISOSpeedRatings", std::vector<double>{raw.iso});
  }
  if (!properties.orientation) {
    properties.orientation = raw.orientation;
  }
}

/// Sizes are those of the picture that the sensor's data makes, not of the small
/// ones beside it. False when the file can't be opened as a RAW.
bool readRaw(StillFile& still, ImageProperties& properties) {
  const RawFile* raw = still.raw();
  if (raw == nullptr) {
    return false;
  }
  const RawHeader& header = raw->header();
  properties.pixelWidth = header.width;
  properties.pixelHeight = header.height;
  if (properties.exif.empty() && properties.tiff.empty()) {
    putMissing(properties, header);
  }
  return true;
}

bool readX3fProperties(StillFile& still, ImageProperties& properties) {
  const auto& x3f = still.x3f();
  if (!x3f) {
    return false;
  }
  readMetadataOfJpeg(x3f->preview, properties);
  putMissing(properties, x3f->header);
  properties.orientation = x3f->header.orientation;
  if (x3f->header.width > 0 && x3f->header.height > 0) {
    properties.pixelWidth = x3f->header.width;
    properties.pixelHeight = x3f->header.height;
  }
  return true;
}

/// For containers whose metadata reader gives no size, or that of another image.
void readSize(StillFile& still, ImageProperties& properties) {
  if (const auto declared = declaredPixels(still.file(), *still.format())) {
    properties.pixelWidth = static_cast<double>(declared->width);
    properties.pixelHeight = static_cast<double>(declared->height);
  } else if (const auto header = still.vips().header()) {
    properties.pixelWidth = header->size.width;
    properties.pixelHeight = header->size.height;
  }
}

}  // namespace

std::optional<ImageProperties> readImageProperties(StillFile& still) {
  try {
    if (!still.format()) {
      return std::nullopt;
    }
    const ImageFormat& format = *still.format();
    ImageProperties properties;
    properties.mimeType = std::string(format.mimeType);
    if (format.container == ImageContainer::heif) {
      readHeif(still, properties);
      return properties;
    }
    still.metadata().addTo(properties);
    if (format.container == ImageContainer::raw) {
      if (readRaw(still, properties) || readX3fProperties(still, properties) || !format.rawInTiff) {
        return properties;
      }
    }
    if (!properties.pixelWidth) {
      readSize(still, properties);
    }
    return properties;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace vaultmere
