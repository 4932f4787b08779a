// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/CatalogWriter.h"
#include "gallery/CatalogGallery.h"
#include "tests/gallery/GalleryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {
namespace {

/// A gallery over a real catalog with one photo in it.
class CatalogGalleryTest : public GalleryFixture {
 protected:
  CatalogGalleryTest() {
    std::filesystem::create_directories(folder_ / "archive/2024");
    makeStill(folder_ / "archive/2024/original.jpg", {.width = 800, .height = 600});
    AnalyzedPhoto photo;
    photo.id = id_;
    photo.mediaType = "image";
    photo.originalFilename = "IMG_1.jpg";
    photo.ext = ".jpg";
    photo.archivePath = (folder_ / "archive/2024/original.jpg").string();
    photo.processedAt = "2024-05-06T07:08:09Z";
    photo.tags = {"Rome"};
    EXPECT_EQ(CatalogWriter(catalog_->newBackgroundContext()).write(photo),
              CatalogWriter::Outcome::inserted);
    gallery_->setArchive(folder_ / "archive");
    GalleryServer::Options options;
    options.page = folder_ / "page";
    server_ = std::make_unique<GalleryServer>(gallery_, options);
    server_->start(0, "");
  }
  ~CatalogGalleryTest() override {
    server_.reset();
    pool_.join();
  }

  ThreadPool pool_{4};
  const std::string id_ = std::string(64, 'd');
  const std::shared_ptr<const VaultmereCatalog> catalog_ = std::make_shared<VaultmereCatalog>(
      VaultmereCatalog::Options{folder_ / "data", nullptr, [](std::chrono::milliseconds) {}},
      pool_);
  const std::shared_ptr<ThumbnailProvider> thumbnails_ = std::make_shared<ThumbnailProvider>(
      folder_ / "cache", testMedia(), ThumbnailProvider::Pools{pool_, pool_},
      std::make_shared<AsyncSemaphore>(pool_, 2));
  const std::shared_ptr<CatalogGallery> gallery_ =
      std::make_shared<CatalogGallery>(catalog_, thumbnails_);
};

TEST_F(CatalogGalleryTest, ServesWhatIsInTheCatalog) {
  EXPECT_NE(ask("/api/photos?tag=Rome").find(R"("total":1,)"), std::string::npos);
  EXPECT_NE(ask("/api/stats").find(R"("top_albums":[{"id":"Rome","n":1}])"), std::string::npos);
  EXPECT_EQ(ask("/img/" + id_), jpeg(slurp(folder_ / "archive/2024/original.jpg")));
  EXPECT_EQ(ask("/img/unknown"), notFoundResponse());
  EXPECT_EQ(ask("/thumb/" + std::string(64, 'e')), notFoundResponse());
}

TEST_F(CatalogGalleryTest, IsEmptyWithoutItsCatalogAndLogsWhy) {
  const LogCapture log;
  std::filesystem::rename(folder_ / "data", folder_ / "away");
  EXPECT_EQ(ask("/api/photos?page_size=5"),
            json(R"({"total":0,"page":1,"page_size":5,"items":[]})"));
  EXPECT_NE(ask("/api/stats").find(R"({"totals":{"total":0,)"), std::string::npos);
  EXPECT_EQ(ask("/img/" + id_), notFoundResponse());
  EXPECT_EQ(log.lines().size(), 1U) << "one line a minute";
  EXPECT_TRUE(log.contains("Vaultmere: gallery: cannot read the catalog — "));
  std::filesystem::rename(folder_ / "away", folder_ / "data");
  EXPECT_NE(ask("/api/stats").find(R"({"totals":{"total":1,)"), std::string::npos);
}

TEST_F(CatalogGalleryTest, MakesAMissingThumbnailForTheNextRequest) {
  EXPECT_EQ(ask("/thumb/" + id_), notFoundResponse());
  std::string response = notFoundResponse();
  while (response == notFoundResponse()) {  // the test's own timeout ends this
    response = ask("/thumb/" + id_);
  }
  EXPECT_EQ(response, jpeg(slurp(*thumbnails_->thumbnailFile(id_))));
}

TEST_F(CatalogGalleryTest, OpensOriginalsOnlyBelowTheRootAndThroughNoLink) {
  namespace fs = std::filesystem;
  const fs::path root = folder_ / "archive";
  writeText(folder_ / "secret.jpg", "secret");
  fs::create_symlink(folder_ / "secret.jpg", root / "link.jpg");
  fs::create_directory_symlink(folder_.path(), root / "folder");
  const struct {
    const char* name;
    std::optional<std::string> archivePath;
    std::optional<std::string> targetPath;
    bool isOpened;
  } rows[] = {
      {"where it was copied to", (root / "2024/original.jpg").string(), {}, true},
      {"where it belongs", "/elsewhere/original.jpg", "2024/original.jpg", true},
      {"a file beside the root", (folder_ / "secret.jpg").string(), {}, false},
      {"up from the root", (root / "../secret.jpg").string(), "../secret.jpg", false},
      {"up from a folder", {}, "2024/../../secret.jpg", false},
      {"an absolute place", {}, (folder_ / "secret.jpg").string(), false},
      {"a link", (root / "link.jpg").string(), "link.jpg", false},
      {"below a link", {}, "folder/secret.jpg", false},
      {"a folder", {}, "2024", false},
      {"nothing", {}, {}, false},
  };
  for (const auto& row : rows) {
    const auto original = gallery_->openOriginal({id_, "jpg", row.archivePath, row.targetPath, {}});
    EXPECT_EQ(original.has_value(), row.isOpened) << row.name;
  }
  gallery_->setArchive(std::nullopt);
  EXPECT_FALSE(gallery_->openOriginal({id_, "jpg", {}, "2024/original.jpg", {}}));
  EXPECT_EQ(ask("/img/" + id_), notFoundResponse());
}

}  // namespace
}  // namespace vaultmere
