// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "media/worker/ImageFormat.h"
#include "platform/Files.h"
#include "platform/Sanitizer.h"

// NOLINTBEGIN(bugprone-reserved-identifier): the library's own names
struct _VipsImage;
struct _VipsSource;
// NOLINTEND(bugprone-reserved-identifier)

// libvips for the image files of this directory.
namespace vaultmere {

/// Starts the library once, with its cache off and one thread an image (several
/// images run at once), and keeps its warnings off standard error.
void prepareVips();

struct VipsRelease {
  void operator()(_VipsImage* image) const noexcept;
  void operator()(_VipsSource* source) const noexcept;
};
using VipsImageHandle = std::unique_ptr<_VipsImage, VipsRelease>;

/// The library's words for what has gone wrong last, taken out of its buffer.
[[nodiscard]] std::string takeVipsError();

struct PixelSize {
  int width = 0;
  int height = 0;
  bool operator==(const PixelSize&) const = default;
};

/// The header of an opened image.
struct VipsHeader {
  PixelSize size;
  int orientation = 1;  ///< EXIF code of the rotation that is still to be applied
  std::uint64_t bytesPerPixel = 0;
  /// The decoder keeps all coefficients: a progressive JPEG.
  bool keepsCoefficients = false;
};
[[nodiscard]] VipsHeader headerOf(const VipsImageHandle& image);

/// A still that can be opened several times, each time by the one loader of its
/// container. One thread at a time.
class VipsStill {
 public:
  /// `file` must stay open as long as this and what it has opened.
  VipsStill(const File& file, const ImageFormat& format);
  /// A JPEG in memory, which must stay as long.
  explicit VipsStill(std::span<const std::uint8_t> jpeg);

  /// The first image's header, read once. Absent when the loader refuses.
  [[nodiscard]] std::optional<VipsHeader> header();

  /// A block of metadata beside that image, such as "exif-data"; empty when there is
  /// none.
  [[nodiscard]] std::string block(const char* name);

  /// The first image; its pixels are decoded when they are asked for, from the top
  /// and once. `shrink` is 1, 2, 4 or 8 and only used by the loaders that save work
  /// by it, see `canShrink`. One at a time: the one that was opened before isn't to be
  /// decoded any more. Null when the loader refuses.
  [[nodiscard]] VipsImageHandle open(int shrink = 1);

  /// Opens the small picture that a HEIC may have beside its image, rotated by the
  /// container like the image; it opens the image when there is none. Null for
  /// other containers.
  [[nodiscard]] VipsImageHandle openThumbnail() const;

  /// True when decoding at a half, a quarter or an eighth costs less.
  [[nodiscard]] bool canShrink() const;

 private:
  [[nodiscard]] VipsImageHandle load(int shrink) const;
  [[nodiscard]] const VipsImageHandle& unread();

  ImageFormat format_;
  std::unique_ptr<_VipsSource, VipsRelease> source_;
  std::string magickName_;  ///< for the two containers that ImageMagick reads
  int descriptor_ = -1;     ///< the same
  /// Opened for its header; the next to be decoded in full size.
  VipsImageHandle unread_;
  std::optional<std::optional<VipsHeader>> header_;
};

/// A block of metadata that the loader has found, such as "exif-data"; empty
/// when there is none.
[[nodiscard]] std::string blockOf(const VipsImageHandle& image, const char* name);

/// An image over pixels of 1 or 3 bytes each, which must outlive it. Null when
/// there are too few of them.
[[nodiscard]] VipsImageHandle imageOver(std::span<const std::uint8_t> pixels, int width, int height,
                                        int bands);

/// When a decode is cancelled, before the process is killed for taking too long.
struct Deadline {
  std::chrono::steady_clock::time_point at =
      std::chrono::steady_clock::now() + std::chrono::seconds(8 * kSanitizerSlowdown);

  [[nodiscard]] bool isOver() const { return std::chrono::steady_clock::now() > at; }
};

/// The rows of a damaged image that can be decoded, and grey for the others, in
/// memory. Null when not even the first can, and when it takes too long.
[[nodiscard]] VipsImageHandle readableRows(const VipsImageHandle& image, const Deadline& deadline);

}  // namespace vaultmere
