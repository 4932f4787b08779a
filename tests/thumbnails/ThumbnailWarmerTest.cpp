// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <set>

#include "catalog/PhotoSchema.h"
#include "catalog/VaultmereCatalog.h"
#include "tests/support/FaultPlan.h"
#include "tests/thumbnails/ThumbnailFixture.h"
#include "thumbnails/ThumbnailWarmer.h"

namespace vaultmere {
namespace {

using Strings = std::vector<std::string>;

class ThumbnailWarmerTest : public ThumbnailFixture {
 protected:
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

  /// Runs to the end.
  void run(std::size_t maxConcurrent, std::size_t batchSize, std::stop_token stop = {}) {
    provider_->setArchiveRoot(archive());
    std::promise<void> done;  // throws if it is called twice
    ThumbnailWarmer{context_, maxConcurrent, batchSize}.run(provider_, std::move(stop),
                                                            [&] { done.set_value(); });
    done.get_future().wait();
  }

  /// The stems of the JPEG files that a run takes through a step, in order.
  Strings seen(const std::string& step, std::size_t maxConcurrent, std::size_t batchSize) {
    const StepRecorder recorder;
    run(maxConcurrent, batchSize);
    Strings stems;
    for (const std::string& line : recorder.steps()) {
      if (line.starts_with(step + " ") && line.ends_with(".jpg")) {
        stems.push_back(fs::path(line.substr(step.size() + 1)).stem());
      }
    }
    return stems;
  }
  Strings warm(std::size_t maxConcurrent, std::size_t batchSize) {
    return seen("rename", maxConcurrent, batchSize);
  }
  /// The originals that the next run looks into.
  std::set<std::string> opened() {
    const Strings files = seen("decode", 4, 3);
    std::set<std::string> originals;
    std::copy_if(files.begin(), files.end(), std::inserter(originals, originals.end()),
                 [](const std::string& stem) { return stem.size() < 64; });
    return originals;
  }

  static Strings idsOf(std::initializer_list<int> numbers) {
    Strings ids;
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
    restart();
    EXPECT_EQ(warm(1, batchSize), idsOf({2, 8, 6, 5, 1, 7, 3})) << batchSize;
  }
  provider_->clearCache();
  auto severalAtOnce = warm(4, 3);
  std::sort(severalAtOnce.begin(), severalAtOnce.end());
  EXPECT_EQ(severalAtOnce, idsOf({1, 2, 3, 5, 6, 7, 8}));
}

TEST_F(ThumbnailWarmerTest, OpensNoOriginalWithoutNeed) {
  using Names = std::set<std::string>;
  for (int number = 1; number <= 7; ++number) {
    add(number, number);
  }
  writeText(archive() / "2.jpg", "no picture");
  fs::rename(archive() / "4.jpg", folder_ / "4.jpg");
  EXPECT_EQ(opened(), (Names{"1", "2", "3", "5", "6", "7"}));
  EXPECT_EQ(opened(), Names{});
  restart();
  EXPECT_EQ(opened(), Names{}) << "the next start";
  fs::rename(folder_ / "4.jpg", archive() / "4.jpg");
  EXPECT_EQ(opened(), Names{"4"}) << "in reach again";

  // From now on only new items are looked at.
  fs::remove(*provider_->thumbnailFile(idOf(3)));
  EXPECT_EQ(opened(), Names{});
  for (int number = 8; number <= 12; ++number) {
    add(number, 0);
  }
  EXPECT_EQ(opened(), (Names{"8", "9", "10", "11", "12"}));
  provider_->clearCache();
  EXPECT_EQ(opened().size(), 12U);
}

TEST_F(ThumbnailWarmerTest, StopsBetweenItems) {
  for (int number = 1; number <= 6; ++number) {
    add(number, -number);
  }
  for (const std::size_t made : {2U, 4U}) {  // in a page, and at its end
    std::stop_source stop;
    const auto plan = FaultPlan::doing("rename", 2, [&] { stop.request_stop(); });
    run(1, 4, stop.get_token());
    EXPECT_EQ(filesBelow(cache() / "thumbs").size(), made);
  }
  EXPECT_EQ(warm(1, 4), idsOf({5, 6}));
}

TEST_F(ThumbnailWarmerTest, EndsWhereThereIsNothingToRead) {
  EXPECT_TRUE(warm(4, 1000).empty());
  context_->perform([](Connection& connection) { connection.execute("DROP TABLE Photo"); });
  EXPECT_TRUE(warm(4, 1000).empty());
}

}  // namespace
}  // namespace vaultmere
