// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "media/VideoProperties.h"
#include "platform/Files.h"

namespace vaultmere {

/// What is read of an MP4, MOV or 3GP file beside the library: the library
/// trusts the sample counts, and of several items with one key it keeps the last.
struct IsoBmffItems {
  /// How large a track is shown before its matrix is applied, in square pixels.
  struct DisplaySize {
    std::uint64_t track = 0;  ///< the track's number
    double width = 0;
    double height = 0;
  };

  /// The library would take memory or time without bound: there are more samples
  /// to keep than bytes, more boxes than in any real movie, or fragments beside a track
  /// without a usable number.
  bool absurd = false;
  /// The whole movie's positions in ISO 6709 form, in the file's order: keyed
  /// items, `©xyz` and `loci`.
  std::vector<VideoText> locations;
  std::vector<DisplaySize> displaySizes;  ///< of the tracks that have one
  /// The header's length is the value for "not known".
  bool endless = false;
};

/// Empty for a file of another kind. Never fails, and reads only what it needs.
[[nodiscard]] IsoBmffItems readIsoBmffItems(const File& file);

}  // namespace vaultmere
