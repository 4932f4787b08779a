// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "media/Bitmap.h"
#include "media/ImageProperties.h"
#include "media/VideoProperties.h"
#include "platform/Sanitizer.h"

// What can be asked of a media file, and what is answered. All in one request is
// read in one go: the file is opened, and its header read, once.
namespace vaultmere {

enum class MediaKind { still, video };

/// One picture that is wanted of a file. Upright, in sRGB, never enlarged.
struct PictureRequest {
  int maxPixels = 0;  ///< of the longer side; at least 1
  /// A small picture that a still has inside may stand for it, down to a camera's
  /// usual 160 pixels.
  bool mayBeEmbedded = false;
  /// Of a video: the frame at the first of these times, in seconds, at which there
  /// is one. At most `kMaxFrameTimes`.
  std::vector<double> seconds{};
  /// As a JPEG file of this quality, 0 to 1, instead of pixels.
  std::optional<double> jpegQuality{};
  /// As its difference hash (media/DifferenceHash.h) instead of pixels, which then
  /// don't leave the process. Not with `jpegQuality`.
  bool asHash = false;
  bool operator==(const PictureRequest&) const = default;
};

/// A process that takes longer over one request is killed.
inline constexpr std::chrono::milliseconds kMediaTimeout{10'000 * kSanitizerSlowdown};
/// The same for the display image of a RAW file, which has to be developed.
inline constexpr std::chrono::milliseconds kRawDisplayTimeout{30'000 * kSanitizerSlowdown};

struct MediaRequest {
  MediaKind kind = MediaKind::still;
  bool wantsProperties = false;
  std::vector<PictureRequest> pictures{};             ///< at most `kMaxPictures`
  std::chrono::milliseconds timeout = kMediaTimeout;  ///< not sent to the process
  bool operator==(const MediaRequest&) const = default;
};

inline constexpr std::size_t kMaxFrameTimes = 4;
inline constexpr std::size_t kMaxPictures = 4;

/// The pixels of a `Bitmap`, or a JPEG file, or a hash alone.
struct MediaPicture {
  int width = 0;
  int height = 0;
  PixelBuffer bytes;
  std::uint64_t hash = 0;  ///< with `PictureRequest::asHash`
};

/// Why a file's answer breaks off.
enum class MediaFailure {
  crashed,         ///< its decoder has ended the process
  unreadable,      ///< it was cut, or its drive went away, while it was read
  tookTooLong,     ///< see `MediaService::Options`
  tooMuchMemory,   ///< likewise
  answeredWrongly  ///< what came isn't an answer to the request
};

/// What a file is found to be, as far as it could be read before a failure.
struct MediaAnswer {
  std::optional<ImageProperties> still{};  ///< absent for what is no still
  std::optional<VideoProperties> video{};  ///< of a video, also one without any
  /// As many as were asked for; what can't be made is absent.
  std::vector<std::optional<MediaPicture>> pictures{};
  std::optional<MediaFailure> failure{};
};

}  // namespace vaultmere
