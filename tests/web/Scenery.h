// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "analysis/PixelStats.h"

namespace vaultmere {

/// A made picture: its thumbnail, and for some the original or a clip.
struct Scene {
  std::filesystem::path thumbnail;  ///< a JPEG, 400 pixels on its longer side
  std::optional<std::filesystem::path> original;
  std::optional<std::filesystem::path> clip;
  PixelStats::Result colour;
  int width = 0;  ///< of the picture, as a camera would have stored it
  int height = 0;
};

/// Makes `count` pictures in a folder, the same ones each time: all hues, light and
/// dark, portrait and landscape, some black and white. Each `kOriginalEvery`th has an
/// original, each `kClipEvery`th a clip.
[[nodiscard]] std::vector<Scene> paintScenes(const std::filesystem::path& folder, int count);

inline constexpr int kOriginalEvery = 12;
inline constexpr int kClipEvery = 48;

}  // namespace vaultmere
