// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/CatalogGallery.h"

#include <span>
#include <utility>

#include "catalog/CatalogError.h"
#include "catalog/PhotoQueries.h"
#include "gallery/GalleryAPI.h"

namespace vaultmere {
namespace {

constexpr std::size_t kMaxIdle = 4;

/// Asks a store without tables, of which each query fails: that gives the empty
/// form of the answer.
template <typename Question>
auto askNothing(Question&& question) {
  Connection nothing(":memory:");
  CountCache totals;
  GalleryAPI api(nothing, totals);
  return question(api);
}

}  // namespace

struct CatalogGallery::Reader {
  std::shared_ptr<CatalogContext> context;
  CountCache totals;
};

/// A reader for one request.
class CatalogGallery::Lease {
 public:
  /// Throws CatalogError.
  explicit Lease(CatalogGallery& gallery) : gallery_(gallery) {
    {
      const std::lock_guard lock(gallery_.mutex_);
      if (!gallery_.idle_.empty()) {
        reader_ = std::move(gallery_.idle_.back());
        gallery_.idle_.pop_back();
        return;
      }
    }
    reader_ = std::make_unique<Reader>(Reader{gallery_.catalog_->newBackgroundContext(), {}});
  }
  ~Lease() {
    const std::lock_guard lock(gallery_.mutex_);
    if (gallery_.idle_.size() < kMaxIdle) {
      gallery_.idle_.push_back(std::move(reader_));
    }
  }
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;

  /// Runs `query(Connection&)` on this thread.
  template <typename Query>
  auto perform(Query&& query) {
    return reader_->context->perform(std::forward<Query>(query));
  }

  template <typename Question>
  auto ask(Question&& question) {
    return perform([&](Connection& connection) {
      GalleryAPI api(connection, reader_->totals);
      return question(api);
    });
  }

 private:
  CatalogGallery& gallery_;
  std::unique_ptr<Reader> reader_;
};

template <typename Question>
auto CatalogGallery::ask(Question&& question) {
  try {
    return Lease(*this).ask(question);
  } catch (const CatalogError&) {
    return askNothing(question);
  }
}

CatalogGallery::CatalogGallery(std::shared_ptr<const VaultmereCatalog> catalog,
                               std::shared_ptr<ThumbnailProvider> thumbnails)
    : catalog_(std::move(catalog)), thumbnails_(std::move(thumbnails)) {}

CatalogGallery::~CatalogGallery() = default;

std::optional<std::filesystem::path> CatalogGallery::thumbnailFile(std::string_view id) const {
  return thumbnails_->thumbnailFile(id);
}

void CatalogGallery::makeThumbnail(const std::string& id, std::function<void()> done) {
  if (const auto ref = find(id)) {
    thumbnails_->ensureThumb(*ref, [done = std::move(done)](RenditionState) { done(); });
  } else {
    done();
  }
}

void CatalogGallery::displayImage(const std::string& id,
                                  std::function<void(std::optional<Picture>)> callback) {
  const auto ref = find(id);
  if (!ref) {
    return callback(std::nullopt);
  }
  thumbnails_->displayData(
      *ref, [callback = std::move(callback)](std::optional<ThumbnailProvider::DisplayFile> file) {
        callback(file ? std::optional(Picture{std::move(file->path), std::string(file->mimeType)})
                      : std::nullopt);
      });
}

std::optional<PhotoRef> CatalogGallery::find(const std::string& id) {
  try {
    const auto photos = Lease(*this).perform(
        [&](Connection& connection) { return fetchPhotos(connection, std::span(&id, 1)); });
    return photos.empty() ? std::nullopt : std::optional(photoRefOf(photos.front()));
  } catch (const CatalogError&) {
    return std::nullopt;
  }
}

std::optional<std::string> CatalogGallery::photos(const HttpQuery& query) {
  return ask([&](GalleryAPI& api) { return api.photos(query); });
}

GalleryBackend::Statistics CatalogGallery::stats() {
  const auto question = [](GalleryAPI& api) { return api.stats(); };
  try {
    return {Lease(*this).ask(question), true};
  } catch (const CatalogError&) {
    return {askNothing(question), false};
  }
}

std::string CatalogGallery::colours(const HttpQuery& query) {
  return ask([&](GalleryAPI& api) { return api.colours(query); });
}

std::string CatalogGallery::geo(const HttpQuery& query) {
  return ask([&](GalleryAPI& api) { return api.geo(query); });
}

}  // namespace vaultmere
