// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "media/worker/ImageDecoder.h"
#include "media/worker/ImageProperties.h"
#include "media/worker/VideoFile.h"
#include "platform/Files.h"

// The decoders by a file's path, in the process of the test.
namespace vaultmere {

inline std::optional<Bitmap> decodeScaled(const fs::path& path, int maxPixels) {
  const File file = File::openForReading(path);
  StillFile still(file);
  return decodeScaled(still, maxPixels);
}
inline std::optional<Bitmap> decodeThumbnail(const fs::path& path, int maxPixels) {
  const File file = File::openForReading(path);
  StillFile still(file);
  return decodeThumbnail(still, maxPixels);
}
inline std::optional<ImageProperties> readImageProperties(const fs::path& path) {
  const File file = File::openForReading(path);
  StillFile still(file);
  return readImageProperties(still);
}
inline VideoProperties readVideoProperties(const fs::path& path) {
  const File file = File::openForReading(path);
  return VideoFile(file).properties();
}
inline std::optional<Bitmap> videoFrame(const fs::path& path, double seconds, int maxPixels) {
  const File file = File::openForReading(path);
  return VideoFile(file).frame(seconds, maxPixels);
}

}  // namespace vaultmere
