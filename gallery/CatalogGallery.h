// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "catalog/VaultmereCatalog.h"
#include "gallery/GalleryBackend.h"
#include "gallery/http/LimitedLog.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// The gallery of a catalog and of the thumbnails of its photos. Keeps a few
/// contexts on the catalog open for the next requests. A catalog that can't be
/// read is an empty one to clients; the log says why.
class CatalogGallery : public GalleryBackend {
 public:
  CatalogGallery(std::shared_ptr<const VaultmereCatalog> catalog,
                 std::shared_ptr<ThumbnailProvider> thumbnails);
  ~CatalogGallery() override;

  /// The archive's root while its drive is there, absent otherwise: then nothing
  /// is read from originals. Any thread.
  void setArchive(std::optional<std::filesystem::path> root);

  [[nodiscard]] std::optional<std::filesystem::path> thumbnailFile(
      std::string_view id) const override;
  [[nodiscard]] bool isArchiveOnline() const override;

  [[nodiscard]] std::optional<PhotoRef> photo(const std::string& id) override;
  [[nodiscard]] std::optional<std::string> photos(const HttpQuery& query) override;
  [[nodiscard]] GalleryAPI::Statistics stats() override;
  [[nodiscard]] std::string colours(const HttpQuery& query) override;
  [[nodiscard]] std::string geo(const HttpQuery& query) override;

  [[nodiscard]] std::shared_ptr<File> openRendition(const PhotoRef& ref) override;
  [[nodiscard]] std::optional<Original> openOriginal(const PhotoRef& ref) override;
  void makeThumbnail(const PhotoRef& ref, std::function<void()> done) override;
  void makeRendition(const PhotoRef& ref, std::function<void()> done) override;

 private:
  struct Reader;
  class Lease;

  /// Runs the query with a reader of its own. False when the catalog couldn't be
  /// read, which is logged.
  [[nodiscard]] bool read(const GalleryAPI::Query& query);
  [[nodiscard]] GalleryAPI api();
  [[nodiscard]] std::optional<std::filesystem::path> archive() const;

  const std::shared_ptr<const VaultmereCatalog> catalog_;
  const std::shared_ptr<ThumbnailProvider> thumbnails_;
  LimitedLog failures_;

  mutable std::mutex mutex_;  // guards the rest
  std::vector<std::unique_ptr<Reader>> idle_;
  std::optional<std::filesystem::path> archive_;
};

}  // namespace vaultmere
