// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <latch>

#include "catalog/PhotoBrowserModel.h"
#include "catalog/PhotoSchema.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualMainThread.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

class PhotoBrowserModelTest : public testing::Test {
 protected:
  /// What a screen shows.
  struct Shown {
    std::vector<std::string> ids;
    std::int64_t total = 0;
    FacetSet facets;
    bool loading = false;
    bool reachedEnd = false;
    bool operator==(const Shown&) const = default;
  };

  void start() {
    model_ = std::make_unique<PhotoBrowserModel>(
        catalog_, PhotoBrowserModel::Contexts::open(catalog_), main_);
    announced_ = shown();
    model_->changed().connect([this] {
      announced_ = shown();
      ++announcements_;
      fewestListed_ = std::min(fewestListed_, announced_.ids.size());
    });
    settle();
  }

  /// Everything that was asked for has been answered, and every change announced.
  void settle() {
    main_.settle(pool_);
    if (model_) {
      EXPECT_EQ(shown(), announced_);
    }
  }

  [[nodiscard]] Shown shown() const {
    return {ids(), model_->total(), model_->facets(), model_->loading(), model_->reachedEnd()};
  }

  /// Keeps the pool's one thread from its work until the gate opens.
  void hold(std::latch& gate) {
    pool_.post([&gate] { gate.wait(); });
  }

  void poll() {
    main_.advance(PhotoBrowserModel::kPollInterval);
    settle();
  }

  /// Imports photos, each later than all before it; every second one is blue.
  void import(int count) {
    catalog_.viewContext().perform([&](Connection& connection) {
      Transaction transaction(connection);
      for (int i = 0; i < count; ++i) {
        Photo photo;
        photo.id = fmt::format("{:04}", imported_++);
        photo.processedAt = photo.captureDate = CatalogDate{double(imported_)};
        photo.colorFamily = imported_ % 2 == 0 ? "Blue" : "Red";
        insertPhoto(connection, photo);
      }
      transaction.commit();
    });
  }

  void change(const char* sql) {
    catalog_.viewContext().perform([&](Connection& connection) { connection.execute(sql); });
  }

  [[nodiscard]] std::vector<std::string> ids() const {
    std::vector<std::string> list;
    for (const Photo& photo : model_->items()) {
      list.push_back(photo.id);
    }
    return list;
  }

  /// The list has every id from `first` down to `last` once, in this order.
  void expectListed(int first, int last) const {
    std::vector<std::string> expected;
    for (int number = first; number >= last; --number) {
      expected.push_back(fmt::format("{:04}", number));
    }
    EXPECT_EQ(ids(), expected);
  }

  static PhotoFilter colour(const char* family) {
    PhotoFilter filter;
    filter.color = family;
    return filter;
  }

  TemporaryFolder folder_;
  ManualMainThread main_{TimePoint()};
  ThreadPool pool_{1};
  VaultmereCatalog catalog_{{folder_.path(), nullptr, [](auto) {}}, pool_};
  int imported_ = 0;
  Shown announced_;
  int announcements_ = 0;
  std::size_t fewestListed_ = PhotoBrowserModel::kPageSize;
  std::unique_ptr<PhotoBrowserModel> model_;
};

TEST_F(PhotoBrowserModelTest, FetchesPagesUntilAShortOne) {
  import(160);
  start();
  expectListed(159, 80);
  EXPECT_EQ(model_->total(), 160);
  EXPECT_EQ(model_->facets().total, 160);
  model_->loadNextPage();
  EXPECT_TRUE(model_->loading());
  model_->loadNextPage();  // one at a time
  settle();
  expectListed(159, 0);
  EXPECT_FALSE(model_->reachedEnd());
  model_->loadNextPage();
  settle();
  EXPECT_TRUE(model_->reachedEnd());
  announcements_ = 0;
  model_->loadNextPage();
  model_->setFilter({});
  model_->setSort(SortOrder::added);
  settle();
  EXPECT_EQ(announcements_, 0) << "nothing new is asked for";
  model_->setSort(SortOrder::oldest);
  EXPECT_TRUE(model_->items().empty());
  settle();
  EXPECT_EQ(ids().front(), "0000");
}

TEST_F(PhotoBrowserModelTest, ShowsTheLastFilterSetWhileAPageLoads) {
  import(90);
  start();
  std::latch gate(1);
  hold(gate);
  model_->loadNextPage();
  model_->setFilter(colour("Red"));
  model_->setFilter(colour("Blue"));
  EXPECT_TRUE(model_->loading());
  gate.count_down();
  settle();
  EXPECT_FALSE(model_->loading());
  EXPECT_EQ(model_->total(), 45);
  ASSERT_EQ(model_->items().size(), 45U);
  for (const Photo& photo : model_->items()) {
    EXPECT_EQ(photo.colorFamily, "Blue");
  }
  EXPECT_EQ(model_->facets().colors, (std::vector<FacetValue>{{"Blue", 45}}));
}

TEST_F(PhotoBrowserModelTest, ReloadsAListOfOnePageAfterAnImport) {
  import(100);
  start();
  import(1);
  main_.advance(PhotoBrowserModel::kPollInterval - std::chrono::seconds(1));
  settle();
  EXPECT_EQ(model_->total(), 100);
  main_.advance(std::chrono::seconds(1));
  settle();
  EXPECT_EQ(fewestListed_, 0U) << "the rows go at once";
  EXPECT_EQ(model_->total(), 101);
  EXPECT_EQ(model_->facets().total, 101);
  expectListed(100, 21);
}

TEST_F(PhotoBrowserModelTest, ChangesOnlyTheTotalOfALongListAfterAnImport) {
  import(300);
  start();
  model_->loadNextPage();
  settle();
  import(1);
  poll();
  EXPECT_EQ(model_->total(), 301);
  expectListed(299, 140);
  // The rows have moved on by one: none comes twice.
  model_->loadNextPage();
  settle();
  expectListed(299, 61);
}

TEST_F(PhotoBrowserModelTest, SkipsNoRowAfterRemovals) {
  import(200);
  start();
  for (const char* id : {"0199", "0150"}) {
    change(fmt::format("UPDATE Photo SET trashedAt = 1 WHERE id = '{}'", id).c_str());
    model_->remove(id);
  }
  EXPECT_EQ(model_->total(), 198);
  // One goes while the next page is on its way.
  std::latch gate(1);
  hold(gate);
  model_->loadNextPage();
  change("UPDATE Photo SET trashedAt = 1 WHERE id = '0160'");
  model_->remove("0160");
  gate.count_down();
  settle();
  const auto listed = ids();
  EXPECT_EQ(listed.size(), 157U);
  EXPECT_EQ(std::count(listed.begin(), listed.end(), "0160"), 0);
  EXPECT_EQ(std::count(listed.begin(), listed.end(), "0119"), 1);
  poll();
  EXPECT_EQ(model_->total(), 197);
  EXPECT_EQ(ids(), listed);
}

TEST_F(PhotoBrowserModelTest, CountsEachRemovalOnceAndNeverBelowZero) {
  start();
  model_->remove("none");
  EXPECT_EQ(model_->total(), 0);
  import(100);
  poll();
  change("UPDATE Photo SET trashedAt = 1 WHERE id = '0099'");
  poll();
  EXPECT_EQ(model_->total(), 99);
  model_->remove("0099");
  poll();
  EXPECT_EQ(model_->total(), 99);
}

TEST_F(PhotoBrowserModelTest, ReadsAnnouncedRowsAgain) {
  import(4);
  start();
  change("UPDATE Photo SET favorite = 1 WHERE id = '0002'");
  change("UPDATE Photo SET stackedUnder = '0002' WHERE id = '0001'");
  change("DELETE FROM Photo WHERE id = '0000'");
  catalog_.rowsChanged().emit({"0002", "0001", "0000", "unknown"});
  settle();
  EXPECT_EQ(ids(), (std::vector<std::string>{"0003", "0002"}));
  EXPECT_TRUE(model_->items().back().favorite);
  EXPECT_EQ(model_->total(), 2);
}

TEST_F(PhotoBrowserModelTest, FetchesAgainAfterAFailedFetch) {
  import(100);
  start();
  const char* const damage = "ALTER TABLE Photo RENAME COLUMN caption TO elsewhere";
  const char* const repair = "ALTER TABLE Photo RENAME COLUMN elsewhere TO caption";
  const LogCapture log;
  change(damage);
  model_->loadNextPage();
  settle();
  EXPECT_TRUE(log.contains("Vaultmere: gallery fetch failed — "));
  EXPECT_FALSE(model_->loading());
  EXPECT_FALSE(model_->reachedEnd());
  expectListed(99, 20);
  change(repair);
  model_->loadNextPage();
  settle();
  expectListed(99, 0);

  change(damage);
  model_->setFilter(colour("Blue"));
  settle();
  EXPECT_TRUE(model_->items().empty());
  change(repair);
  poll();
  EXPECT_EQ(model_->items().size(), 50U);
}

TEST_F(PhotoBrowserModelTest, FetchesOnePageForManyRowsRemovedMeanwhile) {
  import(200);
  start();
  change("UPDATE Photo SET trashedAt = 1");
  std::latch gate(1);
  hold(gate);
  model_->refresh(ids());
  model_->loadNextPage();
  announcements_ = 0;
  gate.count_down();
  settle();
  EXPECT_TRUE(model_->items().empty());
  EXPECT_LT(announcements_, 10);
}

TEST_F(PhotoBrowserModelTest, StopsRunningQueriesAtAFilterChangeAndDestruction) {
  import(100);
  start();
  change(
      "DROP TABLE Tag; CREATE VIEW Tag AS WITH RECURSIVE n(pk) AS"
      " (SELECT 1 UNION ALL SELECT pk + 1 FROM n) SELECT pk, 'x' || pk AS name FROM n");
  PhotoFilter endless;
  endless.tag = "none";
  model_->setFilter(endless);
  model_->setFilter(colour("Blue"));
  settle();
  EXPECT_EQ(model_->items().size(), 50U);
  EXPECT_EQ(model_->facets().total, 50);
  model_->setFilter(endless);
  model_->refresh({"0001"});
  model_.reset();
  catalog_.rowsChanged().emit({"0001"});
  poll();
}

}  // namespace
}  // namespace vaultmere
