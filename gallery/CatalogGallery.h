// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "catalog/VaultmereCatalog.h"
#include "gallery/GalleryBackend.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// The gallery of a catalog and of the thumbnails of its photos. Keeps a few
/// contexts on the catalog open for the next request.
class CatalogGallery : public GalleryBackend {
 public:
  CatalogGallery(std::shared_ptr<const VaultmereCatalog> catalog,
                 std::shared_ptr<ThumbnailProvider> thumbnails);
  ~CatalogGallery() override;

  [[nodiscard]] std::optional<std::filesystem::path> thumbnailFile(
      std::string_view id) const override;
  void makeThumbnail(const std::string& id, std::function<void()> done) override;
  void displayImage(const std::string& id,
                    std::function<void(std::optional<Picture>)> callback) override;

  [[nodiscard]] std::optional<std::string> photos(const HttpQuery& query) override;
  [[nodiscard]] Statistics stats() override;
  [[nodiscard]] std::string colours(const HttpQuery& query) override;
  [[nodiscard]] std::string geo(const HttpQuery& query) override;

 private:
  struct Reader;
  class Lease;

  /// The question's answer, or its empty form when the catalog can't be opened.
  template <typename Question>
  auto ask(Question&& question);

  /// Absent for an unknown photo, and when the catalog can't be read.
  [[nodiscard]] std::optional<PhotoRef> find(const std::string& id);

  const std::shared_ptr<const VaultmereCatalog> catalog_;
  const std::shared_ptr<ThumbnailProvider> thumbnails_;

  std::mutex mutex_;  // guards the rest
  std::vector<std::unique_ptr<Reader>> idle_;
};

}  // namespace vaultmere
