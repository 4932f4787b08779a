// SPDX-License-Identifier: GPL-3.0-or-later
#include <cerrno>
#include <latch>

#include "tests/support/DecodeFile.h"
#include "tests/support/FaultPlan.h"
#include "tests/thumbnails/ThumbnailFixture.h"

namespace vaultmere {
namespace {

using Names = std::vector<std::string>;

constexpr auto kMade = RenditionState::made;

class ThumbnailProviderTest : public ThumbnailFixture {
 protected:
  /// With a single permit, taken, and a single thread.
  void holdTheOnlySlot() {
    slots_ = std::make_shared<AsyncSemaphore>(onePool_, 1);
    provider_ = std::make_shared<ThumbnailProvider>(
        cache(), testMedia(), ThumbnailProvider::Pools{onePool_, onePool_}, slots_);
    std::promise<void> taken;
    slots_->wait([&] { taken.set_value(); });
    taken.get_future().wait();
  }

  /// Whether a request has the original decoded. If so, that fails.
  bool decodesOriginal(const PhotoRef& ref) {
    const auto plan =
        FaultPlan::failing("decode", 1, EIO, fs::path(*ref.archivePath).filename().native());
    (void)request(ref);
    (void)display(ref);
    return plan.wasHit();
  }

  ThreadPool onePool_{1};
  std::shared_ptr<AsyncSemaphore> slots_;
};

TEST_F(ThumbnailProviderTest, ShowsWhatIsCachedWithoutTheArchive) {
  const PhotoRef made = picture(1);
  const PhotoRef missed = picture(2);
  EXPECT_EQ(provider_->cacheSize(), 0U);
  EXPECT_FALSE(provider_->cached(made));
  const auto shown = request(made).image;
  EXPECT_EQ(describe(shown.get()), "400x300 RGBY");
  EXPECT_EQ(provider_->cached(made), shown);
  provider_->setArchiveOnline(false);
  EXPECT_FALSE(decodesOriginal(missed)) << "a dead drive would hold the thread";
  EXPECT_EQ(thumbnail(missed) + display(missed) + displayData(missed),
            "unavailableunavailablenone");
  provider_->setArchiveOnline(true);
  unplug();
  EXPECT_EQ(thumbnail(missed), "unavailable");
  EXPECT_EQ(filesBelow(cache()), Names{"thumbs/" + made.id + ".jpg"});
  restart();
  EXPECT_FALSE(provider_->cached(made));
  EXPECT_EQ(thumbnail(made), "400x300 RGBY");

  const std::size_t size = slurp(*provider_->thumbnailFile(made.id)).size();
  writeText(cache() / "display" / "deeper" / "file", "12345");
  EXPECT_EQ(provider_->cacheSize(), size + 5);
  provider_->clearCache();
  EXPECT_EQ(thumbnail(made), "unavailable");
  EXPECT_TRUE(fs::is_directory(cache() / "thumbs"));
  EXPECT_TRUE(fs::is_directory(cache() / "display"));
  EXPECT_EQ(provider_->cacheSize(), 0U);
}

TEST_F(ThumbnailProviderTest, DecodesAnUndecodableFileAgainOnlyForAReason) {
  const PhotoRef broken = item(1, "broken.jpg");
  const auto setDecoders = [&](const std::string& version) {
    const fs::path file = cache() / "undecodable.txt";
    const std::string text = slurp(file);
    writeText(file, "undecodable 1 " + version + text.substr(text.find('\n')));
    restart();
  };
  const struct {
    const char* name;
    std::function<void()> change;
    bool isDecoded;
  } rows[] = {
      {"asked again", [] {}, false},
      {"next start", [&] { restart(); }, false},
      {"started twice", [&] { restart(), (void)request(broken), restart(); }, false},
      {"other file", [&] { writeText(archive() / "other.jpg", "x"); }, false},
      {"cache cleared", [&] { provider_->clearCache(); }, true},
      {"other decoders", [&] { setDecoders("vips-9"); }, true},
      {"memory lost", [&] { writeText(cache() / "undecodable.txt", "\0\n\n"), restart(); }, true},
      {"other bytes", [&] { writeText(*broken.archivePath, "still no picture"); }, true},
      {"same size, put back",
       [&] {
         writeText(archive() / "new", "Still no picture");
         fs::rename(archive() / "new", *broken.archivePath);
       },
       true},
  };
  writeText(*broken.archivePath, "no picture");
  for (const auto& row : rows) {
    EXPECT_EQ(thumbnail(broken), "undecodable") << row.name;
    EXPECT_EQ(display(broken), "undecodable") << row.name;
    row.change();
    EXPECT_EQ(decodesOriginal(broken), row.isDecoded) << row.name;
  }
  EXPECT_EQ(thumbnail(broken), "undecodable");
  unplug();
  EXPECT_EQ(thumbnail(broken), "undecodable") << "known without the drive";
}

TEST_F(ThumbnailProviderTest, DoesNotTakeAFailingDriveForAnUndecodableFile) {
  const PhotoRef ref = item(1, "a.jpg");
  writeText(*ref.archivePath, "no picture");
  for (const char* step : {"open", "decode", "read"}) {
    const auto plan = FaultPlan::failing(step, 1, EIO, "a.jpg");
    EXPECT_EQ(thumbnail(ref), "unavailable") << step;
    EXPECT_TRUE(plan.wasHit()) << step;
    EXPECT_FALSE(provider_->isSettled(ref.id)) << step;
  }
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
    EXPECT_EQ(ensure(ref).get() == kMade, row.isFound) << row.name;
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
  EXPECT_EQ(display(item(9, "e.heic")), "unavailable");
  EXPECT_EQ(displayData(item(3, "c.gif")), "none");
}

TEST_F(ThumbnailProviderTest, MakesNoFileForAnIdThatIsNoHash) {
  PhotoRef ref = picture(1);
  EXPECT_EQ(provider_->thumbnailFile(ref.id), cache() / "thumbs" / (ref.id + ".jpg"));
  const std::string id(64, 'a');
  for (const std::string& bad : {std::string(), id + 'a', id.substr(1) + 'A', "../" + id.substr(3),
                                 id.substr(1) + '\0', std::string("../../archive/1")}) {
    EXPECT_FALSE(provider_->thumbnailFile(bad)) << bad;
    ref.id = bad;
    ref.ext = "tif";
    EXPECT_EQ(thumbnail(ref), "unavailable") << bad;
    EXPECT_EQ(display(ref), "unavailable") << bad;
    EXPECT_EQ(displayData(ref), "none") << bad;
  }
  EXPECT_EQ(filesBelow(folder_.path()), Names{"archive/1.jpg"});
}

TEST_F(ThumbnailProviderTest, MakesVisibleThumbnailsBeforeThoseOfTheWarmUp) {
  std::vector<int> made;
  std::latch done(6);
  const auto ask = [&](int number, Priority priority) {
    provider_->ensureThumb(
        picture(number), [&, number](RenditionState) { made.push_back(number), done.count_down(); },
        priority);
  };
  const PhotoRef cached = picture(9);
  ASSERT_EQ(ensure(cached).get(), kMade);
  holdTheOnlySlot();
  ask(1, Priority::background);
  ask(2, Priority::background);
  ask(3, Priority::background);
  ask(4, Priority::foreground);
  ask(3, Priority::foreground);
  EXPECT_EQ(ensure(cached).get(), kMade) << "needs no slot, and those that wait hold no thread";
  EXPECT_TRUE(made.empty());
  ask(3, Priority::background);
  slots_->signal();
  done.wait();
  EXPECT_EQ(made, (std::vector<int>{4, 3, 3, 3, 1, 2}));
  EXPECT_EQ(ensure(picture(5)).get(), kMade) << "no permit is lost";
}

TEST_F(ThumbnailProviderTest, MakesWhatIsAskedForTwiceOnce) {
  const PhotoRef ref = picture(1);
  {
    const auto again = FaultPlan::failing("rename", 2, EIO, ref.id);
    std::vector<std::future<RenditionState>> asked;
    for (int i = 0; i < 4; ++i) {
      asked.push_back(ensure(ref));
    }
    for (auto& made : asked) {
      EXPECT_EQ(made.get(), kMade);
    }
    EXPECT_FALSE(again.wasHit());
  }
  // Another reference to the same content, which alone would find nothing.
  provider_->clearCache();
  holdTheOnlySlot();
  auto made = ensure(ref);
  auto second = ensure(item(1, "gone.jpg"));
  slots_->signal();
  EXPECT_EQ(made.get(), kMade);
  EXPECT_EQ(second.get(), kMade);
}

TEST_F(ThumbnailProviderTest, AnswersWaitingRequestsWhenItIsDestroyed) {
  holdTheOnlySlot();
  auto made = ensure(picture(1));
  onePool_.waitUntilIdle();
  provider_.reset();
  slots_->signal();
  EXPECT_EQ(made.get(), RenditionState::unavailable);
  EXPECT_TRUE(filesBelow(cache()).empty());
}

TEST_F(ThumbnailProviderTest, SurvivesAClearOfTheCacheWhileAThumbnailIsWritten) {
  const PhotoRef ref = picture(1);
  {
    const auto plan = FaultPlan::doing("rename", 1, [&] { provider_->clearCache(); });
    EXPECT_EQ(ensure(ref).get(), RenditionState::unavailable);
  }
  EXPECT_TRUE(fs::is_directory(cache() / "thumbs"));
  EXPECT_EQ(ensure(ref).get(), kMade);
}

TEST_F(ThumbnailProviderTest, LeavesAWholeFileOrNoneAfterAFailureAtAnyStep) {
  const PhotoRef ref = picture(1);
  bool wasHit = true;
  for (std::size_t step = 1; wasHit; ++step) {
    provider_->clearCache();
    fs::remove_all(cache());
    {
      const auto plan = FaultPlan::failing(step, EIO);
      const bool isThere = ensure(ref).get() == kMade;
      wasHit = plan.wasHit();
      EXPECT_TRUE(isThere || wasHit);
    }
    for (const std::string& file : filesBelow(cache())) {
      const auto bitmap = decodeScaled(cache() / file, 400);
      EXPECT_EQ(describe(bitmap ? &*bitmap : nullptr), "400x300 RGBY") << step << " " << file;
    }
    const auto plan = FaultPlan::failing("fsync", 1, EIO);
    EXPECT_EQ(ensure(ref).get(), kMade) << "the next request tries again";
    EXPECT_FALSE(plan.wasHit()) << "what can be made again needs no flush";
  }
  // As a power cut can leave it.
  writeText(cache() / "thumbs" / (ref.id + ".jpg"), "");
  EXPECT_EQ(thumbnail(ref), "400x300 RGBY");
}

}  // namespace
}  // namespace vaultmere
