// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "media/worker/ImageDecoder.h"
#include "media/worker/ImageProperties.h"
#include "media/worker/VideoFile.h"
#include "platform/Files.h"

// The decoders by a file's path, in the process of the test.
namespace vaultmere {

inline std::optional<Bitmap> decodeScaled(const fs::path& path, int maxPixels) {
  return decodeScaled(File::openForReading(path), maxPixels);
}
inline std::optional<Bitmap> decodeThumbnail(const fs::path& path, int maxPixels) {
  return decodeThumbnail(File::openForReading(path), maxPixels);
}
inline std::optional<ImageProperties> readImageProperties(const fs::path& path) {
  return readImageProperties(File::openForReading(path));
}
inline VideoProperties readVideoProperties(const fs::path& path) {
  return readVideoProperties(File::openForReading(path));
}
inline std::optional<Bitmap> videoFrame(const fs::path& path, double seconds, int maxPixels) {
  return videoFrame(File::openForReading(path), seconds, maxPixels);
}

}  // namespace vaultmere
