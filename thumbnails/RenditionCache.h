// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

#include "thumbnails/PhotoRef.h"

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

/// The cache of made pictures on the local disk, `id` and ".jpg" in a folder
/// for each size. That a file is there is all there is to know: no index, no
/// expiry, no limit. A file appears whole, and never changes, since an id is
/// the hash of the content. Any thread but the main one.
class RenditionCache {
 public:
  explicit RenditionCache(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Where the file is or would be. Absent unless `id` is 64 lower-case hex
  /// digits, which is what keeps ids from outside in the folder.
  [[nodiscard]] std::optional<std::filesystem::path> file(Rendering rendering,
                                                          std::string_view id) const;
  /// The same if the file has been made.
  [[nodiscard]] std::optional<std::filesystem::path> existing(Rendering rendering,
                                                              std::string_view id) const;

  /// Makes a file from the original. False when that can't be found or read, or
  /// the file can't be written; then nothing is left of it.
  [[nodiscard]] bool make(Rendering rendering, const PhotoRef& ref,
                          const std::optional<std::filesystem::path>& archiveRoot) const;

  /// The bytes of all files; what can't be read counts as nothing.
  [[nodiscard]] std::uint64_t size() const;
  /// Removes everything, as far as that is possible, and leaves empty folders.
  void clear() const;

 private:
  [[nodiscard]] std::filesystem::path folderOf(Rendering rendering) const;

  std::filesystem::path folder_;
};

}  // namespace vaultmere
