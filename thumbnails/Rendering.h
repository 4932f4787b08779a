// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// The two pictures that are made from an original. Their folders' names,
/// "thumbs" and "display", are on disk: never change them.
enum class Rendering {
  thumbnail,  ///< for grids; may come from a small picture inside the original
  display,    ///< for one picture on a screen; always from the full image
};

/// The longer side in pixels. Nothing is enlarged to it.
[[nodiscard]] constexpr int maxPixelsOf(Rendering rendering) {
  return rendering == Rendering::thumbnail ? 400 : 2560;
}

/// What came of a request for one of them.
enum class RenditionState {
  made,  ///< it is there
  /// There can't be one: no decoder of this program makes a picture of these
  /// bytes. Holds until the bytes or the decoders change or the cache is
  /// cleared.
  undecodable,
  /// Not now: the original isn't in reach or can't be read, as with a drive
  /// that isn't plugged in, or the cache can't be written.
  unavailable,
};

}  // namespace vaultmere
