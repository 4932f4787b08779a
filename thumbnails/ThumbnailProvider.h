// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "media/Bitmap.h"
#include "media/MediaService.h"
#include "platform/AsyncSemaphore.h"
#include "platform/ThreadPool.h"
#include "thumbnails/PhotoRef.h"
#include "thumbnails/Rendering.h"
#include "thumbnails/WarmUpMark.h"

namespace vaultmere {

/// How many thumbnails are made at once in the whole program, which is also how
/// many originals are read for them from the archive at once.
inline constexpr int kThumbnailSlots = 4;

/// Those of them that background work never gets, so that a thumbnail on a
/// screen doesn't wait for it.
inline constexpr int kForegroundSlots = 2;

/// The media type of an original that a browser shows as it is, by its extension
/// as `PhotoRef` has it. Empty for others.
[[nodiscard]] std::string_view browserMimeType(std::string_view ext);

/// Turns archived items into thumbnails and display images: made once from the
/// original, kept as files, held for a while in memory. What is cached can be
/// seen without the archive.
///
/// Any thread may call. Each request is called back exactly once, on a pool
/// thread. Requests that are still waiting when this is destroyed are answered
/// with `unavailable`.
class ThumbnailProvider {
 public:
  using Image = std::shared_ptr<const Bitmap>;  ///< null for none

  struct Picture {
    RenditionState state = RenditionState::unavailable;
    Image image;  ///< null unless `made`
  };

  /// A picture as a file, for a browser.
  struct DisplayFile {
    std::filesystem::path path;
    std::string_view mimeType;
  };

  struct Pools {
    ThreadPool& cached;     ///< for files of the cache
    ThreadPool& originals;  ///< for originals, whose drive may hold the threads
  };

  /// `cacheFolder` holds the two folders of files, which are made when they are
  /// needed. `media` outlives this object and its requests. `slots` has the permits for making
  /// thumbnails, on the pool for originals; null for `kThumbnailSlots` of its own.
  ThumbnailProvider(std::filesystem::path cacheFolder, MediaService& media, Pools pools,
                    std::shared_ptr<AsyncSemaphore> slots = nullptr);
  ~ThumbnailProvider();
  ThumbnailProvider(const ThumbnailProvider&) = delete;
  ThumbnailProvider& operator=(const ThumbnailProvider&) = delete;

  /// Where items without a file at their `archivePath` are looked for.
  void setArchiveRoot(std::optional<std::filesystem::path> root);

  /// While the archive is offline no original is looked for: what isn't cached is
  /// `unavailable` at once, and no thread waits for a dead drive.
  void setArchiveOnline(bool isOnline);

  /// The thumbnail if it is in memory. Touches no file and waits for nobody: for
  /// the main thread.
  [[nodiscard]] Image cached(const PhotoRef& ref) const;

  /// At most 400 pixels wide and high.
  void thumbnail(const PhotoRef& ref, std::function<void(Picture)> callback);

  /// The original at its full size where a browser could show it, else at most
  /// 2560 pixels wide and high.
  void display(const PhotoRef& ref, std::function<void(Picture)> callback);

  /// Makes the thumbnail's file when it is missing. A request in the foreground
  /// goes before all those in the background, also one for the same item.
  void ensureThumb(const PhotoRef& ref, std::function<void(RenditionState)> callback,
                   Priority priority = Priority::foreground);

  /// Whether `ensureThumb` has nothing to do: the file is there, or known to be
  /// impossible. Asks the local disk only, never for the original. Not for the
  /// main thread.
  [[nodiscard]] bool isSettled(const std::string& id) const;

  /// The file of what `display` shows: the original itself or the one that has
  /// been made. It may be gone again when it is opened.
  void displayData(const PhotoRef& ref, std::function<void(std::optional<DisplayFile>)> callback);

  /// Makes the file for display when it is missing, also where a browser could
  /// show the original. True when it is there.
  void ensureDisplay(const PhotoRef& ref, std::function<void(RenditionState)> callback);

  /// Where that file is or would be. Absent unless `id` is 64 lower-case hex
  /// digits. Touches no file.
  [[nodiscard]] std::optional<std::filesystem::path> displayFile(std::string_view id) const;

  /// Where the thumbnail's file is or would be. Absent unless `id` is 64
  /// lower-case hex digits. Touches no file.
  [[nodiscard]] std::optional<std::filesystem::path> thumbnailFile(std::string_view id) const;

  /// The bytes of all cached files. Takes as long as there are many: not for
  /// the main thread.
  [[nodiscard]] std::uint64_t cacheSize() const;

  /// Empties memory and disk, as far as the disk lets it, and forgets which
  /// originals are undecodable. Likewise.
  void clearCache();

  /// How far warm-ups of this cache have come.
  [[nodiscard]] WarmUpMark& warmUpMark() const;

 private:
  struct Core;
  const std::shared_ptr<Core> core_;  // shared with the tasks on their way
};

}  // namespace vaultmere
