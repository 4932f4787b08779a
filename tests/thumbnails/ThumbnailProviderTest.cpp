// SPDX-License-Identifier: GPL-3.0-or-later
#include <cerrno>

#include "media/ImageDecoder.h"
#include "platform/FaultPoint.h"
#include "tests/support/FaultPlan.h"
#include "tests/thumbnails/ThumbnailDesk.h"

namespace vaultmere {
namespace {

using Names = std::vector<std::string>;

class ThumbnailProviderTest : public ThumbnailDesk {
 protected:
  void useOneThread() {
    provider_.reset();
    makers_ = std::make_shared<AsyncSemaphore>(onePool_, 1);
    provider_ = std::make_unique<ThumbnailProvider>(cache(), onePool_, makers_);
  }

  ThreadPool onePool_{1};
};

TEST_F(ThumbnailProviderTest, WithoutTheArchiveShowsWhatIsCached) {
  const PhotoRef made = picture(1);
  const PhotoRef missed = picture(2);
  ASSERT_EQ(thumbnail(made), "400x300 RGBY");
  unplug();
  restart();
  EXPECT_EQ(thumbnail(made), "400x300 RGBY");
  EXPECT_EQ(thumbnail(missed), "none");
  EXPECT_FALSE(ensure(missed).get());
  EXPECT_EQ(filesBelow(cache()), Names{"thumbs/" + made.id + ".jpg"});
}

TEST_F(ThumbnailProviderTest, FindsTheOriginalByEitherPath) {
  const PhotoRef whole = picture(1);
  const fs::path elsewhere = folder_ / "elsewhere";
  fs::create_directories(elsewhere / "2024");
  fs::copy_file(*whole.archivePath, elsewhere / "2024" / "a.jpg");
  const struct {
    const char* name;
    std::optional<std::string> archivePath;
    std::optional<std::string> targetPath;
    std::optional<fs::path> root;
    bool isFound;
  } rows[] = {
      {"archive path, root without it", whole.archivePath, "no.jpg", elsewhere, true},
      {"moved drive", "/gone/a.jpg", "2024/a.jpg", elsewhere, true},
      {"empty archive path", "", "2024/a.jpg", elsewhere, true},
      {"no root", {}, "2024/a.jpg", {}, false},
      {"target path out of the root", {}, *whole.archivePath, elsewhere, false},
      {"neither", {}, {}, elsewhere, false},
  };
  int number = 10;
  for (const auto& row : rows) {
    PhotoRef ref = whole;
    ref.id = idOf(++number);
    ref.archivePath = row.archivePath;
    ref.targetPath = row.targetPath;
    provider_->setArchiveRoot(row.root);
    EXPECT_EQ(ensure(ref).get(), row.isFound) << row.name;
  }
}

TEST_F(ThumbnailProviderTest, ShowsBrowserPicturesAsTheyAreAndOthersFromAFile) {
  const StillOptions large{.width = 2700, .height = 1800, .painter = upright()};
  StillOptions tiff = large;
  tiff.format = StillFormat::tiff;
  const StillOptions gif{.format = StillFormat::gif, .painter = upright()};
  StillOptions inside{.width = 800, .height = 600, .painter = upright()};
  inside.metadata.thumbnail = EmbeddedThumbnail{160, 120, flat(kRed)};
  const struct {
    const char* name;
    StillOptions options;
    const char* shown;
    std::string data;
  } rows[] = {
      {"a.jpg", large, "2700x1800 RGBY", "archive/a.jpg image/jpeg"},
      {"b.tif", tiff, "2560x1707 RGBY", "cache/display/" + idOf(2) + ".jpg image/jpeg"},
      {"c.gif", gif, "96x64 RGBY", "archive/c.gif image/gif"},
      {"d.jpe", inside, "800x600 RGBY", "cache/display/" + idOf(4) + ".jpg image/jpeg"},
  };
  int number = 0;
  for (const auto& row : rows) {
    const PhotoRef ref = item(++number, row.name);
    makeStill(*ref.archivePath, row.options);
    EXPECT_EQ(display(ref), row.shown) << row.name;
    EXPECT_EQ(displayData(ref), row.data) << row.name;
  }
  EXPECT_EQ(filesBelow(cache()),
            (Names{"display/" + idOf(2) + ".jpg", "display/" + idOf(4) + ".jpg"}));

  // A browser's picture whose drive is away may still have a display file.
  fs::copy_file(cache() / "display" / (idOf(2) + ".jpg"), cache() / "display" / (idOf(1) + ".jpg"));
  unplug();
  EXPECT_EQ(display(item(1, "a.jpg")), "2560x1707 RGBY");
  EXPECT_EQ(displayData(item(1, "a.jpg")), "cache/display/" + idOf(1) + ".jpg image/jpeg");
  EXPECT_EQ(display(item(2, "b.tif")), "2560x1707 RGBY");
  EXPECT_EQ(display(item(9, "e.heic")), "none");
  EXPECT_EQ(displayData(item(3, "c.gif")), "none");
}

TEST_F(ThumbnailProviderTest, AnIdFromOutsideStaysInTheFolder) {
  PhotoRef ref = picture(1);
  EXPECT_EQ(provider_->thumbnailFile(ref.id), cache() / "thumbs" / (ref.id + ".jpg"));
  const std::string id(64, 'a');
  for (const std::string& bad :
       {std::string(), std::string("a"), std::string(63, 'a'), std::string(65, 'a'),
        std::string(64, 'A'), id.substr(1) + "g", "../" + id.substr(3), id.substr(4) + ".jpg",
        id.substr(1) + '\0', std::string("../../archive/1")}) {
    EXPECT_FALSE(provider_->thumbnailFile(bad)) << bad;
    ref.id = bad;
    ref.ext = "tif";
    EXPECT_EQ(thumbnail(ref), "none") << bad;
    EXPECT_EQ(display(ref), "none") << bad;
    EXPECT_EQ(displayData(ref), "none") << bad;
  }
  EXPECT_EQ(filesBelow(folder_.path()), Names{"archive/1.jpg"});
}

TEST_F(ThumbnailProviderTest, WaitsForAPermitWithoutAThread) {
  const auto isReady = [](const std::future<bool>& made) {
    return made.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  useOneThread();
  const PhotoRef cached = picture(1);
  ASSERT_TRUE(ensure(cached).get());
  std::promise<void> taken;
  makers_->wait([&] { taken.set_value(); });  // the only permit
  taken.get_future().wait();
  const auto first = ensure(picture(2));
  const auto second = ensure(picture(3));
  EXPECT_TRUE(ensure(cached).get()) << "needs no permit, and the thread is free";
  EXPECT_FALSE(isReady(first));
  EXPECT_EQ(filesBelow(cache()).size(), 1U);
  makers_->signal();
  second.wait();
  EXPECT_TRUE(isReady(first));
}

TEST_F(ThumbnailProviderTest, MakesWhatIsAskedForTwiceOnce) {
  const PhotoRef ref = picture(1);
  {
    const auto again = FaultPlan::failing("rename", 2, EIO, ref.id);
    std::vector<std::future<bool>> asked;
    for (int i = 0; i < 4; ++i) {
      asked.push_back(ensure(ref));
    }
    for (auto& made : asked) {
      EXPECT_TRUE(made.get());
    }
    EXPECT_FALSE(again.wasHit());
  }
  // Another reference to the same content, which alone would find nothing.
  useOneThread();
  provider_->clearCache();
  auto made = ensure(ref);
  auto second = ensure(item(1, "gone.jpg"));
  EXPECT_TRUE(made.get());
  EXPECT_TRUE(second.get());
}

TEST_F(ThumbnailProviderTest, AnswersWithNothingOnceItIsGone) {
  useOneThread();
  std::promise<void> taken;
  makers_->wait([&] { taken.set_value(); });
  taken.get_future().wait();
  const PhotoRef ref = picture(1);
  auto made = ensure(ref);
  std::promise<ThumbnailProvider::Image> shown;
  provider_->display(ref, [&](auto image) { shown.set_value(std::move(image)); });
  shown.get_future().wait();
  provider_.reset();
  makers_->signal();
  EXPECT_FALSE(made.get());
  EXPECT_TRUE(filesBelow(cache()).empty());
}

TEST_F(ThumbnailProviderTest, RemembersThumbnailsUntilTheCacheIsCleared) {
  const PhotoRef ref = picture(1);
  EXPECT_EQ(provider_->cacheSize(), 0U);
  const auto shown = thumbnailImage(ref);
  EXPECT_EQ(provider_->cacheSize(), slurp(*provider_->thumbnailFile(ref.id)).size());
  writeText(cache() / "display" / "deeper" / "file", "12345");
  EXPECT_EQ(provider_->cacheSize(), slurp(*provider_->thumbnailFile(ref.id)).size() + 5);
  unplug();
  fs::remove(*provider_->thumbnailFile(ref.id));
  EXPECT_EQ(thumbnailImage(ref), shown);
  provider_->clearCache();
  EXPECT_EQ(thumbnail(ref), "none");
  EXPECT_TRUE(fs::is_directory(cache() / "thumbs"));
  EXPECT_TRUE(fs::is_directory(cache() / "display"));
  EXPECT_EQ(provider_->cacheSize(), 0U);
}

TEST_F(ThumbnailProviderTest, SurvivesAClearWhileAThumbnailIsWritten) {
  static ThumbnailProvider* cleared = nullptr;
  cleared = provider_.get();
  const PhotoRef ref = picture(1);
  setFaultHook([](std::string_view step, const fs::path&) {
    if (step == "rename") {
      cleared->clearCache();
    }
    return 0;
  });
  EXPECT_FALSE(ensure(ref).get());
  setFaultHook(nullptr);
  EXPECT_TRUE(fs::is_directory(cache() / "thumbs"));
  EXPECT_TRUE(ensure(ref).get());
}

TEST_F(ThumbnailProviderTest, AFailureAtAnyStepLeavesAWholeFileOrNone) {
  const PhotoRef ref = picture(1);
  bool wasHit = true;
  for (std::size_t step = 1; wasHit; ++step) {
    provider_->clearCache();
    fs::remove_all(cache());
    {
      const auto plan = FaultPlan::failing(step, EIO);
      const bool isThere = ensure(ref).get();
      wasHit = plan.wasHit();
      EXPECT_TRUE(isThere || wasHit);
    }
    for (const std::string& file : filesBelow(cache())) {
      const auto bitmap = decodeScaled(cache() / file, 400);
      EXPECT_EQ(describe(bitmap ? &*bitmap : nullptr), "400x300 RGBY") << step << " " << file;
    }
    EXPECT_TRUE(ensure(ref).get()) << "the next request tries again";
  }
}

TEST_F(ThumbnailProviderTest, FlushesNothingAndMakesAgainWhatAPowerCutEmptied) {
  const PhotoRef ref = picture(1);
  {
    const auto plan = FaultPlan::failing("fsync", 1, EIO);
    EXPECT_TRUE(ensure(ref).get());
    EXPECT_FALSE(plan.wasHit());
  }
  writeText(cache() / "thumbs" / (ref.id + ".jpg"), "");
  EXPECT_EQ(thumbnail(ref), "400x300 RGBY");
}

}  // namespace
}  // namespace vaultmere
