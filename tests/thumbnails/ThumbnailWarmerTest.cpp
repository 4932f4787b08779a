// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "catalog/PhotoSchema.h"
#include "catalog/VaultmereCatalog.h"
#include "platform/FaultPoint.h"
#include "tests/thumbnails/ThumbnailDesk.h"
#include "thumbnails/ThumbnailWarmer.h"

namespace vaultmere {
namespace {

/// What has been made, in order, as seen at the renames; a stop after so many.
struct {
  std::mutex mutex;
  std::vector<std::string> names;
  std::size_t stopAfter = 0;
  std::stop_source stop;
} made;

int watchRenames(std::string_view step, const fs::path& path) {
  if (step == "rename") {
    const std::lock_guard lock(made.mutex);
    made.names.push_back(path.stem().string());
    if (made.names.size() == made.stopAfter) {
      made.stop.request_stop();
    }
  }
  return 0;
}

class ThumbnailWarmerTest : public ThumbnailDesk {
 protected:
  ~ThumbnailWarmerTest() override { setFaultHook(nullptr); }

  void add(int number, std::optional<double> processedAt, bool isTrashed = false) {
    Photo photo;
    photo.id = idOf(number);
    photo.ext = ".JPG";
    photo.targetPath = std::to_string(number) + ".jpg";
    if (processedAt) {
      photo.processedAt = CatalogDate{*processedAt};
    }
    if (isTrashed) {
      photo.trashedAt = CatalogDate{1};
    }
    context_->perform([&](Connection& connection) { insertPhoto(connection, photo); });
    (void)picture(number, 32, 24);
  }

  /// Runs to the end; gives what has been made, in order.
  std::vector<std::string> warm(std::size_t maxConcurrent, std::size_t batchSize,
                                std::size_t stopAfter = 0) {
    const auto provider = std::make_shared<ThumbnailProvider>(cache(), pool_, makers_);
    provider->setArchiveRoot(archive());
    {
      const std::lock_guard lock(made.mutex);
      made.names.clear();
      made.stopAfter = stopAfter;
      made.stop = {};
    }
    setFaultHook(watchRenames);
    std::promise<void> done;  // throws if it is called twice
    ThumbnailWarmer{context_, maxConcurrent, batchSize}.run(provider, made.stop.get_token(),
                                                            [&] { done.set_value(); });
    done.get_future().wait();
    setFaultHook(nullptr);
    const std::lock_guard lock(made.mutex);
    return made.names;
  }

  static std::vector<std::string> idsOf(std::initializer_list<int> numbers) {
    std::vector<std::string> ids;
    for (const int number : numbers) {
      ids.push_back(idOf(number));
    }
    return ids;
  }

  VaultmereCatalog catalog_{{folder_ / "data", nullptr, [](auto) {}}, pool_};
  std::shared_ptr<CatalogContext> context_ = catalog_.newBackgroundContext();
};

TEST_F(ThumbnailWarmerTest, GoesThroughAllPagesFromTheNewest) {
  add(1, 10);
  add(2, 30);
  add(3, {});
  add(4, 20, true);
  add(5, 20);
  add(6, 20);
  add(7, {});
  add(8, 20);
  fs::remove(archive() / "4.jpg");
  for (const std::size_t batchSize : {1U, 2U, 3U, 4U, 8U, 1000U}) {
    fs::remove_all(cache());
    EXPECT_EQ(warm(1, batchSize), idsOf({2, 8, 6, 5, 1, 7, 3})) << batchSize;
  }
  fs::remove_all(cache());
  auto severalAtOnce = warm(4, 3);
  std::sort(severalAtOnce.begin(), severalAtOnce.end());
  EXPECT_EQ(severalAtOnce, idsOf({1, 2, 3, 5, 6, 7, 8}));
  EXPECT_TRUE(warm(4, 3).empty()) << "all that can be made is there";
  picture(4, 32, 24);
  EXPECT_EQ(warm(4, 3), idsOf({4})) << "in the trash, and back";
}

TEST_F(ThumbnailWarmerTest, StopsBetweenItems) {
  for (int number = 1; number <= 6; ++number) {
    add(number, -number);
  }
  EXPECT_EQ(warm(1, 4, 2), idsOf({1, 2}));
  EXPECT_EQ(warm(1, 4, 2), idsOf({3, 4})) << "the end of a page";
  EXPECT_EQ(warm(1, 4), idsOf({5, 6}));
}

TEST_F(ThumbnailWarmerTest, EndsWhereThereIsNothingToRead) {
  EXPECT_TRUE(warm(4, 1000).empty());
  context_->perform([](Connection& connection) { connection.execute("DROP TABLE Photo"); });
  EXPECT_TRUE(warm(4, 1000).empty());
}

}  // namespace
}  // namespace vaultmere
