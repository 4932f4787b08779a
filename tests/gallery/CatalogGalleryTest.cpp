// SPDX-License-Identifier: GPL-3.0-or-later
#include <future>

#include "catalog/CatalogWriter.h"
#include "gallery/CatalogGallery.h"
#include "tests/gallery/GalleryFixture.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {
namespace {

/// A gallery over a real catalog with one photo in it.
class CatalogGalleryTest : public GalleryFixture {
 protected:
  CatalogGalleryTest() {
    makeStill(folder_ / "original.jpg", {.width = 800, .height = 600});
    AnalyzedPhoto photo;
    photo.id = id_;
    photo.mediaType = "image";
    photo.originalFilename = "IMG_1.jpg";
    photo.ext = ".jpg";
    photo.archivePath = (folder_ / "original.jpg").string();
    photo.processedAt = "2024-05-06T07:08:09Z";
    photo.tags = {"Rome"};
    EXPECT_EQ(CatalogWriter(catalog_->newBackgroundContext()).write(photo),
              CatalogWriter::Outcome::inserted);
    GalleryServer::Options options;
    options.page = folder_ / "page";
    server_ = std::make_unique<GalleryServer>(gallery_, pool_, options);
    server_->start(0, "");
  }
  ~CatalogGalleryTest() override {
    server_.reset();
    pool_.join();
  }

  const std::string id_ = std::string(64, 'd');
  const std::shared_ptr<const VaultmereCatalog> catalog_ = std::make_shared<VaultmereCatalog>(
      VaultmereCatalog::Options{folder_ / "data", nullptr, [](std::chrono::milliseconds) {}},
      pool_);
  const std::shared_ptr<ThumbnailProvider> thumbnails_ = std::make_shared<ThumbnailProvider>(
      folder_ / "cache", pool_, std::make_shared<AsyncSemaphore>(pool_, 2));
  const std::shared_ptr<CatalogGallery> gallery_ =
      std::make_shared<CatalogGallery>(catalog_, thumbnails_);
};

TEST_F(CatalogGalleryTest, ShowsWhatIsInTheCatalog) {
  EXPECT_NE(ask("/api/photos?tag=Rome").find(R"("total":1,)"), std::string::npos);
  EXPECT_NE(ask("/api/stats").find(R"("top_albums":[{"id":"Rome","n":1}])"), std::string::npos);
  EXPECT_EQ(ask("/api/colors"), json("[]"));
  EXPECT_EQ(ask("/api/geo"), json(R"({"type":"FeatureCollection","features":[]})"));
  EXPECT_EQ(ask("/api/photos?page=9223372036854775807"), "");
  EXPECT_EQ(ask("/img/" + id_), picture("image/jpeg", slurp(folder_ / "original.jpg")));
  EXPECT_EQ(ask("/img/unknown"), notFoundAnswer());
  EXPECT_EQ(ask("/thumb/" + std::string(64, 'e')), notFoundAnswer());
}

TEST_F(CatalogGalleryTest, WithoutItsCatalogItIsEmptyUntilThatComesBack) {
  std::filesystem::rename(folder_ / "data", folder_ / "away");
  EXPECT_EQ(ask("/api/photos?page_size=5"),
            json(R"({"total":0,"page":1,"page_size":5,"items":[]})"));
  EXPECT_EQ(ask("/api/colors"), json("[]"));
  EXPECT_EQ(ask("/api/geo"), json(R"({"type":"FeatureCollection","features":[]})"));
  EXPECT_NE(ask("/api/stats").find(R"({"totals":{"total":0,)"), std::string::npos);
  EXPECT_EQ(ask("/img/" + id_), notFoundAnswer());
  std::filesystem::rename(folder_ / "away", folder_ / "data");
  EXPECT_NE(ask("/api/stats").find(R"({"totals":{"total":1,)"), std::string::npos);
}

TEST_F(CatalogGalleryTest, AThumbnailIsMadeOnceItWasMissed) {
  EXPECT_EQ(ask("/thumb/" + id_), notFoundAnswer());
  // The server has asked for it; whoever asks too hears when it is there.
  std::promise<void> done;
  gallery_->makeThumbnail(id_, [&] { done.set_value(); });
  done.get_future().wait();
  EXPECT_EQ(ask("/thumb/" + id_), picture("image/jpeg", slurp(*thumbnails_->thumbnailFile(id_))));
}

TEST_F(CatalogGalleryTest, AnUnknownThumbnailIsNoTrouble) {
  std::promise<void> done;
  gallery_->makeThumbnail("unknown", [&] { done.set_value(); });
  done.get_future().wait();
  EXPECT_FALSE(gallery_->thumbnailFile("../catalog"));
}

}  // namespace
}  // namespace vaultmere
