// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>

#include "media/Bitmap.h"
#include "media/VideoProperties.h"
#include "platform/Files.h"

// Video files: the metadata of their container, and single frames. Read are MP4, MOV
// and 3GP, AVI, MPEG program and transport streams, Matroska and WebM,
// recognised by their content. Nothing but the file itself is
// opened, and nothing is sent or fetched. Any thread.
namespace vaultmere {

/// No real file takes this long to be read, or to give a frame. Below the time
/// after which the process is killed.
inline constexpr std::chrono::seconds kMaxVideoTime{8};

/// Reads a container. All is absent for a file that is no video; of a damaged one, what precedes
/// the damage is read. Never fails.
[[nodiscard]] VideoProperties readVideoProperties(const File& file);

/// The frame that is shown `seconds` after the start (of several the last), the
/// first one when the pictures start later. It is upright, opaque, in sRGB with
/// square pixels, and both its sides are at most `maxPixels`; small pictures keep
/// their size.
///
/// Absent at and behind the last frame's end, for sides that come to more than
/// 16,384 × 16,384 pixels, and for a file that can't be decoded in the memory of
/// `kMaxDecodeBytes` and in `kMaxVideoTime`.
[[nodiscard]] std::optional<Bitmap> videoFrame(const File& file, double seconds, int maxPixels);

}  // namespace vaultmere
