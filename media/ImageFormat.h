// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Files.h"

namespace vaultmere {

/// The kinds of still that the program takes; each has one reader.
enum class ImageContainer { jpeg, png, gif, webp, heif, tiff, bmp, psd, jpeg2000, raw };

struct ImageFormat {
  ImageContainer container = ImageContainer::jpeg;
  std::string_view mimeType;
  /// A RAW file whose container is TIFF, so that a TIFF reader finds a small
  /// picture where the RAW reader doesn't know the camera.
  bool rawInTiff = false;
};

/// Tells a still by its first bytes. The name's extension only tells the RAW
/// kinds apart that are plain TIFF on the outside. Absent for anything else,
/// whatever it calls itself. Any thread.
[[nodiscard]] std::optional<ImageFormat> recogniseImage(const File& file);

/// What a file's header says about the memory that its pixels take.
struct DeclaredPixels {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::uint64_t bytesPerPixel = 0;
};

/// Read from the header of a BMP or PSD file, whose reader gives its sizes only
/// after it has begun to decode. Absent for other containers and broken headers.
[[nodiscard]] std::optional<DeclaredPixels> declaredPixels(const File& file,
                                                           const ImageFormat& format);

}  // namespace vaultmere
