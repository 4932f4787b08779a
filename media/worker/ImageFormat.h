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
  /// picture where the RAW reader doesn't support the camera.
  bool rawInTiff = false;
};

/// Recognises a still by its first bytes. The name's extension only distinguishes
/// the RAW kinds that have TIFF's signature. Absent for anything else, whatever
/// its name. Any thread.
[[nodiscard]] std::optional<ImageFormat> recogniseImage(const File& file);

/// From a file's header: the memory that its pixels take.
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
