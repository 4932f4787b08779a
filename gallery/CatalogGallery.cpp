// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/CatalogGallery.h"

#include <fmt/format.h>

#include <span>
#include <utility>

#include "catalog/CatalogError.h"
#include "catalog/PhotoQueries.h"
#include "platform/BeneathRoot.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxIdle = 4;

/// The paths below the root at which the item's original may lie: where it was
/// copied to, if that is below this root, and where it belongs.
std::vector<fs::path> pathsBelow(const fs::path& root, const PhotoRef& ref) {
  std::vector<fs::path> paths;
  if (ref.archivePath) {
    if (auto relative = pathBelow(root, *ref.archivePath)) {
      paths.push_back(std::move(*relative));
    }
  }
  if (ref.targetPath && !ref.targetPath->empty()) {
    paths.push_back(fs::path(*ref.targetPath).relative_path());
  }
  return paths;
}

}  // namespace

struct CatalogGallery::Reader {
  std::shared_ptr<CatalogContext> context;
  CountCache counts;
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

  /// Runs the query on this thread. Throws CatalogError.
  void perform(const GalleryAPI::Query& query) {
    reader_->context->perform([&](Connection& connection) {
      CatalogReader reader{connection, reader_->counts};
      query(reader);
    });
  }

 private:
  CatalogGallery& gallery_;
  std::unique_ptr<Reader> reader_;
};

CatalogGallery::CatalogGallery(std::shared_ptr<const VaultmereCatalog> catalog,
                               std::shared_ptr<ThumbnailProvider> thumbnails)
    : catalog_(std::move(catalog)), thumbnails_(std::move(thumbnails)) {}

CatalogGallery::~CatalogGallery() = default;

// MARK: The catalog

bool CatalogGallery::read(const GalleryAPI::Query& query) {
  try {
    Lease(*this).perform(query);
    return true;
  } catch (const CatalogError& error) {
    failures_.write(fmt::format("cannot read the catalog — {}", error.what()));
    return false;
  }
}

GalleryAPI CatalogGallery::api() {
  return GalleryAPI([this](const GalleryAPI::Query& query) { return read(query); });
}

std::optional<PhotoRef> CatalogGallery::photo(const std::string& id) {
  std::optional<PhotoRef> ref;
  (void)read([&](CatalogReader& reader) {
    const auto photos = fetchPhotos(reader.connection, std::span(&id, 1));
    ref = photos.empty() ? std::nullopt : std::optional(photoRefOf(photos.front()));
  });
  return ref;
}

std::optional<std::string> CatalogGallery::photos(const HttpQuery& query) {
  return api().photos(query);
}

GalleryAPI::Statistics CatalogGallery::stats() { return api().stats(); }

std::string CatalogGallery::colours(const HttpQuery& query) { return api().colours(query); }

std::string CatalogGallery::geo(const HttpQuery& query) { return api().geo(query); }

// MARK: Files

void CatalogGallery::setArchive(std::optional<fs::path> root) {
  const std::lock_guard lock(mutex_);
  archive_ = root ? std::optional(root->lexically_normal()) : std::nullopt;
}

std::optional<fs::path> CatalogGallery::archive() const {
  const std::lock_guard lock(mutex_);
  return archive_;
}

bool CatalogGallery::isArchiveOnline() const { return archive().has_value(); }

std::optional<fs::path> CatalogGallery::thumbnailFile(std::string_view id) const {
  return thumbnails_->thumbnailFile(id);
}

std::shared_ptr<File> CatalogGallery::openRendition(const PhotoRef& ref) {
  const auto path = thumbnails_->displayFile(ref.id);
  try {
    return path ? std::make_shared<File>(File::openForReading(*path)) : nullptr;
  } catch (const FileError&) {
    return nullptr;  // it hasn't been made
  }
}

std::optional<GalleryBackend::Original> CatalogGallery::openOriginal(const PhotoRef& ref) {
  const auto root = archive();
  if (!root) {
    return std::nullopt;
  }
  for (const fs::path& relative : pathsBelow(*root, ref)) {
    try {
      PhotoRef found = ref;
      found.archivePath = (*root / relative).string();
      found.targetPath.reset();
      return Original{std::make_shared<File>(openBeneath(*root, relative)), std::move(found)};
    } catch (const FileError&) {
      // Perhaps it is at the next path; all failures give the same response.
    }
  }
  return std::nullopt;
}

void CatalogGallery::makeThumbnail(const PhotoRef& ref, std::function<void()> done) {
  thumbnails_->ensureThumb(ref, [done = std::move(done)](auto) { done(); });
}

void CatalogGallery::makeRendition(const PhotoRef& ref, std::function<void()> done) {
  thumbnails_->ensureDisplay(ref, [done = std::move(done)](auto) { done(); });
}

}  // namespace vaultmere
