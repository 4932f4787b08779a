// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "care/VisualDupeModel.h"
#include "catalog/PhotoSchema.h"
#include "catalog/VisualHashes.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/ManualMainThread.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {
namespace {

using Strings = std::vector<std::string>;

class VisualDupeModelTest : public testing::Test {
 protected:
  /// A row.
  struct Row {
    int picture = 0;  ///< of `spots`; 0 for one without a thumbnail
    std::string mediaType = "image";
    std::optional<int> width = 4000;
    std::int64_t bytes = 1000;
    bool isTrashed = false;
    bool isStacked = false;
  };

  /// The letter, a hex digit, repeated.
  static std::string idOf(char letter) { return std::string(64, letter); }

  Photo add(const std::string& id, const Row& row) {
    Photo photo;
    photo.id = id;
    photo.ext = ".jpg";
    photo.mediaType = row.mediaType;
    photo.width = row.width;
    photo.height = 3000;
    photo.sizeBytes = row.bytes;
    photo.archivePath = (folder_ / (id + ".jpg")).string();
    if (row.isTrashed) {
      photo.trashedAt = CatalogDate{1};
    }
    if (row.isStacked) {
      photo.stackedUnder = "0";
    }
    context_->perform([&](Connection& connection) { insertPhoto(connection, photo); });
    if (row.picture != 0) {
      makeThumbnail(id, row.picture, 70 + id.front() % 20);  // no two files are equal
    }
    return photo;
  }
  void add(char letter, const Row& row) { add(idOf(letter), row); }

  void makeThumbnail(const std::string& id, int picture, int quality) {
    makeStill(folder_ / "cache/thumbs" / (id + ".jpg"),
              {.width = 200,
               .height = 150,
               .painter = spots(static_cast<std::uint64_t>(picture)),
               .quality = quality});
  }

  void search(const PhotoFilter& filter = {}) {
    model_->start(filter);
    settle();
  }
  void settle() { main_.settle(pool_); }

  /// "abc de": the first letters of the members' ids.
  [[nodiscard]] std::string groups() const {
    std::string text;
    for (const VisualGroup& group : model_->groups()) {
      text += text.empty() ? "" : " ";
      for (const DuplicateMember& member : group.members) {
        text += member.id.front();
      }
    }
    return text;
  }

  [[nodiscard]] std::size_t hashedRows() {
    return context_->perform([](Connection& connection) {
      const auto rows = fetchPictures(connection, {});
      return static_cast<std::size_t>(
          std::count_if(rows.begin(), rows.end(), [](const auto& row) { return row.hash; }));
    });
  }

  /// Fails for a letter with a reason in `failures_`.
  MergedPhoto merge(const std::string& keeper, const std::string& id) {
    const std::lock_guard lock(mutex_);
    steps_.push_back(fmt::format("{} for {}", id.front(), keeper.front()));
    for (const char letter : {keeper.front(), id.front()}) {
      if (const auto found = failures_.find(letter); found != failures_.end()) {
        return {{}, found->second};
      }
    }
    return {{id}, std::nullopt};
  }

  TemporaryFolder folder_;
  ThreadPool pool_{2};
  ManualMainThread main_{TimePoint{}};
  std::shared_ptr<VaultmereCatalog> catalog_ = std::make_shared<VaultmereCatalog>(
      VaultmereCatalog::Options{folder_ / "data", nullptr, [](auto) {}}, pool_);
  std::shared_ptr<CatalogContext> context_ = catalog_->newBackgroundContext();
  std::map<char, std::string> failures_;
  std::mutex mutex_;
  Strings steps_;
  std::unique_ptr<VisualDupeModel> model_ =
      std::make_unique<VisualDupeModel>(VisualDupeModel::Dependencies{
          main_,
          catalog_,
          std::make_shared<ThumbnailProvider>(folder_ / "cache", testMedia(),
                                              ThumbnailProvider::Pools{pool_, pool_}),
          testMedia(),
          {pool_, pool_},
          [this](const std::string& keeper, const std::string& id) { return merge(keeper, id); }});
};

TEST_F(VisualDupeModelTest, GroupsTheCopiesAmongThePicturesThatAreShown) {
  add('a', {.picture = 1, .bytes = 500});
  add('b', {.picture = 2});
  add('c', {.picture = 1, .width = 4040, .bytes = 700});
  add('d', {.picture = 2, .isStacked = true});
  add('e', {.picture = 1, .mediaType = "live_photo", .bytes = 1'500'000});
  add('f', {.picture = 1, .mediaType = "video"});
  add('0', {.picture = 1, .width = std::nullopt});
  add('1', {.picture = 1, .isTrashed = true});
  add('2', {.picture = 3});
  search();
  EXPECT_EQ(groups(), "cea bd");
  EXPECT_EQ(model_->toHash(), 6U);
  EXPECT_EQ(model_->hashed(), 6U);
  EXPECT_EQ(model_->summaryLine(), "2 groups · 3 redundant files · 1.5 MB");
  EXPECT_TRUE(model_->showResults());
  EXPECT_FALSE(model_->running());
  PhotoFilter images;
  images.mediaType = "image";
  search(images);
  EXPECT_EQ(groups(), "ca");
  EXPECT_EQ(model_->toHash(), 0U);
}

TEST_F(VisualDupeModelTest, HashesOnlyWhatHasNoHash) {
  add('a', {.picture = 1});
  add('b', {});  // its original isn't in reach
  add('c', {});
  writeText(folder_ / "cache/thumbs" / (idOf('c') + ".jpg"), "damaged");
  context_->perform([&](Connection& connection) {
    storeHashes(connection, std::vector<PictureHash>{{1, 0xFFFF'0000'1234'5678}, {99, 7}});
    EXPECT_EQ(fetchPhotosByKey(connection, std::vector<std::int64_t>{1, 99})[0]->phash,
              -0xFFFF'EDCB'A988);
  });
  search();
  EXPECT_EQ(model_->toHash(), 2U);
  EXPECT_EQ(hashedRows(), 1U) << "the stored one, as the same bits";
  makeStill(folder_ / (idOf('b') + ".jpg"), {.width = 800, .height = 600, .painter = spots(1)});
  search();
  EXPECT_EQ(model_->toHash(), 2U);
  EXPECT_EQ(hashedRows(), 2U);
}

TEST_F(VisualDupeModelTest, ACancelledSearchKeepsItsHashes) {
  for (int i = 0; i < 70; ++i) {
    add(fmt::format("{:064x}", i), {.picture = 1});
  }
  {
    const auto plan = FaultPlan::doing("decode", 40, [&] { model_->cancel(); });
    search();
    EXPECT_TRUE(plan.wasHit());
  }
  EXPECT_FALSE(model_->running());
  EXPECT_FALSE(model_->showResults());
  EXPECT_EQ(model_->groups().size(), 0U);
  EXPECT_EQ(hashedRows(), 64U) << "the batch under way is ended";
  search();
  EXPECT_EQ(model_->toHash(), 6U);
  EXPECT_EQ(model_->groups().at(0).members.size(), 70U);
}

TEST_F(VisualDupeModelTest, AMergeTrashesAllButTheFirst) {
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    add(letter, {.picture = 1, .bytes = 9'000'000});
  }
  for (const char letter : {'e', 'f'}) {
    add(letter, {.picture = 2, .bytes = 5'000'000});
  }
  for (const char letter : {'0', '1', '2'}) {
    add(letter, {.picture = 3});
  }
  search();
  EXPECT_EQ(groups(), "abcd ef 012");
  failures_ = {{'b', "b is offline"}, {'d', "d is offline"}};
  Strings announced;
  catalog_->rowsChanged().connect([&](const Strings& ids) { announced = ids; });
  model_->mergeGroup(idOf('a'));
  model_->mergeGroup(idOf('a'));
  model_->mergeGroup("gone");
  EXPECT_TRUE(model_->merging());
  settle();
  EXPECT_FALSE(model_->merging());
  EXPECT_EQ(steps_, (Strings{"b for a", "c for a", "d for a"}));
  EXPECT_EQ(announced, Strings{idOf('c')});
  EXPECT_EQ(groups(), "ef 012") << "gone in any case";
  EXPECT_EQ(model_->errorMessage(), "b is offline\nd is offline");
  EXPECT_EQ(model_->summaryLine(), "2 groups · 3 redundant files · 5 MB");

  model_->clearError();
  steps_.clear();
  failures_ = {{'0', "0 is gone"}};
  model_->mergeAll();
  settle();
  EXPECT_EQ(steps_, (Strings{"f for e", "1 for 0", "2 for 0"}));
  EXPECT_EQ(groups(), "");
  EXPECT_EQ(model_->errorMessage(), "0 is gone") << "one line for all that it is the reason of";
  EXPECT_FALSE(model_->showResults());
}

TEST_F(VisualDupeModelTest, MayGoWhileItWorks) {
  for (int i = 0; i < 40; ++i) {
    add(fmt::format("{:064x}", i), {.picture = 1});
  }
  const auto plan = FaultPlan::doing("decode", 5, [&] { main_.post([&] { model_.reset(); }); });
  model_->start({});
  settle();
  EXPECT_TRUE(plan.wasHit());
  EXPECT_EQ(model_, nullptr);
  EXPECT_GE(hashedRows(), 32U);
}

}  // namespace
}  // namespace vaultmere
