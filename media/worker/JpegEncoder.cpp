// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/JpegEncoder.h"

#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/worker/VipsStill.h"

namespace vaultmere {
namespace {

/// The colours over white; a premultiplied one lacks just what white adds.
std::vector<std::uint8_t> overWhite(const Bitmap& bitmap) {
  const std::size_t count = bitmap.pixels.size() / 4;
  std::vector<std::uint8_t> colours(count * 3);
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned white = 255U - bitmap.pixels[i * 4 + 3];
    for (std::size_t c = 0; c < 3; ++c) {
      colours[i * 3 + c] =
          static_cast<std::uint8_t>(std::min(255U, bitmap.pixels[i * 4 + c] + white));
    }
  }
  return colours;
}

}  // namespace

std::string encodeJpeg(const Bitmap& bitmap, double quality) {
  const std::vector<std::uint8_t> colours = overWhite(bitmap);
  const VipsImageHandle image = imageOver(colours, bitmap.width, bitmap.height, 3);
  if (!image) {
    return {};
  }
  const int percent = static_cast<int>(std::lround(std::clamp(quality, 0.01, 1.0) * 100));
  void* bytes = nullptr;
  std::size_t size = 0;
  if (vips_jpegsave_buffer(image.get(), &bytes, &size, "Q", percent, "strip", TRUE,
                           "optimize_coding", TRUE, nullptr) != 0) {
    vips_error_clear();
    return {};
  }
  const std::unique_ptr<void, decltype(&g_free)> owner(bytes, &g_free);
  return {static_cast<const char*>(bytes), size};
}

}  // namespace vaultmere
