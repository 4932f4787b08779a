// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "gallery/GalleryAPI.h"
#include "gallery/http/HttpRequest.h"
#include "platform/Files.h"
#include "thumbnails/PhotoRef.h"

namespace vaultmere {

/// What the gallery shows: the server's view of catalog, thumbnails and archive.
/// The server keeps it until the last of its tasks has ended, and calls it from
/// several threads at once; each function says what it may wait for, by which
/// the server picks the thread. Files and photos don't throw; a query that does
/// is answered with an empty object.
class GalleryBackend {
 public:
  GalleryBackend() = default;
  GalleryBackend(const GalleryBackend&) = delete;
  GalleryBackend& operator=(const GalleryBackend&) = delete;
  virtual ~GalleryBackend() = default;

  // Without waiting for anything.

  /// Where the photo's thumbnail is or would be; absent for what is no id.
  [[nodiscard]] virtual std::optional<std::filesystem::path> thumbnailFile(
      std::string_view id) const = 0;
  /// False when the archive's drive isn't there: nothing is to be read from it.
  [[nodiscard]] virtual bool isArchiveOnline() const = 0;

  // Reading the catalog.

  /// Absent for an unknown photo, and when the catalog can't be read.
  [[nodiscard]] virtual std::optional<PhotoRef> photo(const std::string& id) = 0;
  /// The JSON bodies. A list whose page lies beyond all numbers is absent, and
  /// its connection is dropped.
  [[nodiscard]] virtual std::optional<std::string> photos(const HttpQuery& query) = 0;
  [[nodiscard]] virtual GalleryAPI::Statistics stats() = 0;
  [[nodiscard]] virtual std::string colours(const HttpQuery& query) = 0;
  [[nodiscard]] virtual std::string geo(const HttpQuery& query) = 0;

  // Reading the program's own folders.

  /// The JPEG file that has been made of the photo for display. Null when it
  /// hasn't been.
  [[nodiscard]] virtual std::shared_ptr<File> openRendition(const PhotoRef& ref) = 0;

  // Reading the archive.

  /// The photo's original. It lies below the archive's root, and no symbolic
  /// link was followed to it there.
  struct Original {
    std::shared_ptr<File> file;
    PhotoRef ref;  ///< with the path that it was found at
  };
  [[nodiscard]] virtual std::optional<Original> openOriginal(const PhotoRef& ref) = 0;

  // Making files out of an original that was opened before. They call back once,
  // in any case, on any thread.

  virtual void makeThumbnail(const PhotoRef& ref, std::function<void()> done) = 0;
  virtual void makeRendition(const PhotoRef& ref, std::function<void()> done) = 0;
};

}  // namespace vaultmere
