// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "media/MediaRequest.h"

// The messages between the program and a media process: one packet each, JSON
// text, of which the library's parser keeps its nesting on the heap. Both sides
// take the other one's for hostile. docs/media-messages.md describes them.
namespace vaultmere {

/// Of the messages' form. A process that says another one isn't used.
inline constexpr int kMediaMessageVersion = 1;

/// Of one message, in either direction. Below what a socket takes by default.
inline constexpr std::size_t kMaxMediaMessageBytes = std::size_t{128} << 10;

/// Of one picture that is sent: that of the largest decode.
inline constexpr std::uint64_t kMaxPictureBytes = std::uint64_t{1} << 30;

/// A process is ready for its first request.
struct MediaReady {
  std::string decoders;              ///< see `MediaService::decoderVersion`
  std::vector<std::string> lacking;  ///< protections that this system doesn't have
  bool operator==(const MediaReady&) const = default;
};

/// The properties of a still or a video; neither is there for what is none.
struct MediaFacts {
  std::optional<ImageProperties> still;
  std::optional<VideoProperties> video;
};

/// The size of the picture that comes with this message. Sides of 1 to
/// `kMaxPictureSide`, at most `kMaxPictureBytes`.
struct MediaPictureHead {
  int width = 0;
  int height = 0;
  std::uint64_t bytes = 0;
  bool operator==(const MediaPictureHead&) const = default;
};
inline constexpr int kMaxPictureSide = 1 << 20;

/// There is no such picture.
struct MediaNoPicture {};

/// The difference hash of a picture, instead of its size and bytes.
struct MediaPictureHash {
  std::uint64_t hash = 0;
  bool operator==(const MediaPictureHash&) const = default;
};

using MediaReply =
    std::variant<MediaReady, MediaFacts, MediaPictureHead, MediaNoPicture, MediaPictureHash>;

/// Texts of more than 1 KiB, and numbers that aren't finite, are left out of the
/// properties; of dates and positions the first 16 are kept.
[[nodiscard]] std::string encodeMediaRequest(const MediaRequest& request);
[[nodiscard]] std::string encodeMediaReply(const MediaReply& reply);

/// Absent for what isn't a whole message of this version within the bounds. Texts
/// are valid UTF-8, numbers finite.
[[nodiscard]] std::optional<MediaRequest> parseMediaRequest(std::string_view message);
[[nodiscard]] std::optional<MediaReply> parseMediaReply(std::string_view message);

}  // namespace vaultmere
