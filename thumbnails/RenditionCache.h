// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "media/MediaService.h"
#include "platform/Files.h"
#include "thumbnails/PhotoRef.h"
#include "thumbnails/Rendering.h"
#include "thumbnails/UndecodableFiles.h"

namespace vaultmere {

/// The cache of made pictures on the local disk, `id` and ".jpg" in a folder
/// for each size: no index, no expiry, no limit. A file appears whole, and never
/// changes, since an id is the hash of the content. Beside the two folders
/// stands "undecodable.txt", see UndecodableFiles. Any thread but the main one.
class RenditionCache {
 public:
  RenditionCache(std::filesystem::path folder, MediaService& media);

  /// Where the file is or would be. Absent unless `id` is 64 lower-case hex
  /// digits, which is what keeps ids from outside in the folder.
  [[nodiscard]] std::optional<std::filesystem::path> file(Rendering rendering,
                                                          std::string_view id) const;
  /// The same if the file has been made.
  [[nodiscard]] std::optional<std::filesystem::path> existing(Rendering rendering,
                                                              std::string_view id) const;

  /// Makes a file from `original`, the archived file as far as it is in reach,
  /// unless it is known that it can't be. After
  /// a failure nothing is left of it. A failure is `undecodable`, and is
  /// remembered, only when the original can be read and hasn't changed.
  [[nodiscard]] RenditionState make(Rendering rendering, const PhotoRef& ref,
                                    const std::optional<File>& original, Priority priority);

  /// Whether the file has been made or is known to be impossible. Asks the local
  /// disk only, never for the original.
  [[nodiscard]] bool isSettled(Rendering rendering, const std::string& id);
  /// Whether `original` is known to be undecodable as it is now.
  [[nodiscard]] bool isUndecodable(Rendering rendering, const std::string& id,
                                   const File& original);

  /// The bytes of all files; what can't be read counts as nothing.
  [[nodiscard]] std::uint64_t size() const;
  /// Removes everything, as far as that is possible, and leaves empty folders.
  /// What was undecodable is tried again.
  void clear();

 private:
  [[nodiscard]] std::filesystem::path folderOf(Rendering rendering) const;

  const std::filesystem::path folder_;
  MediaService& media_;
  UndecodableFiles undecodable_;
};

}  // namespace vaultmere
