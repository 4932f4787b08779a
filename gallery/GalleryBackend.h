// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "gallery/http/HttpRequest.h"

namespace vaultmere {

/// What the gallery shows: the server's view of catalog and thumbnails. The
/// server keeps it until the last request on its way has been answered, and
/// calls it from pool threads, several at once, unless said otherwise. The
/// pictures don't throw; a query that does is answered with an empty object.
class GalleryBackend {
 public:
  /// The document of statistics.
  struct Statistics {
    std::string json;
    bool isWhole = true;  ///< false: it was made without the catalog, and isn't to be kept
  };

  /// A picture in a file.
  struct Picture {
    std::filesystem::path path;
    std::string mimeType;
  };

  GalleryBackend() = default;
  GalleryBackend(const GalleryBackend&) = delete;
  GalleryBackend& operator=(const GalleryBackend&) = delete;
  virtual ~GalleryBackend() = default;

  /// Where the photo's thumbnail is or would be; absent for what is no id.
  /// Called on the server's own thread: touches no file and doesn't wait.
  [[nodiscard]] virtual std::optional<std::filesystem::path> thumbnailFile(
      std::string_view id) const = 0;

  /// Makes the file if there is such a photo; calls back once, in any case, on
  /// any thread.
  virtual void makeThumbnail(const std::string& id, std::function<void()> done) = 0;

  /// Finds or makes what a browser can show of the photo; calls back once, on
  /// a pool thread, with nothing when there is no such photo or picture.
  virtual void displayImage(const std::string& id,
                            std::function<void(std::optional<Picture>)> callback) = 0;

  /// The JSON bodies. A list whose page lies beyond all numbers is absent, and
  /// its connection is dropped.
  [[nodiscard]] virtual std::optional<std::string> photos(const HttpQuery& query) = 0;
  [[nodiscard]] virtual Statistics stats() = 0;
  [[nodiscard]] virtual std::string colours(const HttpQuery& query) = 0;
  [[nodiscard]] virtual std::string geo(const HttpQuery& query) = 0;
};

}  // namespace vaultmere
