// SPDX-License-Identifier: GPL-3.0-or-later
#include "core/AppModel.h"
#include "platform/ManualMainThread.h"
#include "tests/intake/Archive.h"

namespace vaultmere {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

/// The program with a watched folder, on a clock that a test turns. Files are
/// real, and so are the notices of the kernel.
class WatchedFolderTest : public testing::Test {
 protected:
  WatchedFolderTest() {
    fs::create_directories(inbox_);
    DestinationSurroundings surroundings;
    surroundings.watchMounts = false;
    model_ =
        std::make_unique<AppModel>(AppModel::Options{main_,
                                                     archive_.pool,
                                                     {archive_.data(), archive_.folder / "config"},
                                                     {},
                                                     [](const std::string&, const std::string&) {},
                                                     nullptr,
                                                     [](std::chrono::milliseconds) {},
                                                     surroundings});
    model_->settings().setMarginGB(0);
  }
  ~WatchedFolderTest() override {
    model_->shutDown();
    archive_.pool.join();
  }

  void watch() {
    model_->settings().setDestinationRoot(archive_.root());
    model_->settings().setInbox(inbox_);
  }

  /// A file in the watched folder, last written so long ago.
  void put(const std::string& name, Duration age, const std::string& bytes) {
    writeText(archive_.folder / "new", bytes);
    setModified(archive_.folder / "new", main_.now() - age);
    fs::rename(archive_.folder / "new", inbox_ / name);
  }

  /// Turns the main thread until the archive holds so many files.
  bool archived(std::size_t count) {
    return main_.runUntil([&] {
      turn();
      return archive_.files().size() == count && !model_->isImporting();
    });
  }

  /// Lets what other threads have to say come in.
  void turn() {
    archive_.pool.post([this] { main_.post([] {}); });
  }

  /// Turns the main thread until nothing is left to do but what waits for time.
  void settle() {
    for (int i = 0; i < 20; ++i) {
      bool came = false;
      archive_.pool.post([&] { main_.post([&] { came = true; }); });
      ASSERT_TRUE(main_.runUntil([&] { return came; }));
    }
  }

  Archive archive_;
  ManualMainThread main_{parseCatalogDate("2030-01-01T00:00:00Z")->moment()};
  fs::path inbox_ = archive_.folder / "inbox";
  std::unique_ptr<AppModel> model_;
};

TEST_F(WatchedFolderTest, WhatLiesThereAtStartIsTakenAndWhatComesLaterToo) {
  put("a.jpg", minutes(1), "a");
  put("notes.txt", minutes(1), "t");
  watch();
  EXPECT_TRUE(archived(1));
  EXPECT_EQ(model_->intakeStatus(), "Watch: 1 new");
  put("b.jpg", minutes(1), "b");
  main_.advance(seconds(1));
  EXPECT_TRUE(archived(2));
  EXPECT_EQ(filesBelow(inbox_), Strings{"notes.txt"});
}

TEST_F(WatchedFolderTest, AFreshFileIsTakenOnceItHasSettled) {
  put("fresh.jpg", seconds(1), "fresh");
  watch();
  settle();
  EXPECT_TRUE(archive_.files().empty());
  main_.advance(seconds(5));
  settle();
  EXPECT_TRUE(archive_.files().empty());
  main_.advance(seconds(1));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, TheFolderMayGoAndComeBack) {
  watch();
  settle();
  fs::remove_all(inbox_);
  main_.advance(seconds(40));
  settle();
  fs::create_directories(inbox_);
  put("a.jpg", minutes(1), "a");
  main_.advance(seconds(40));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, FilesThatCameWhileTheDestinationWasAwayAreTakenOnItsReturn) {
  watch();
  EXPECT_TRUE(main_.runUntil([&] {
    turn();
    return model_->destination().isOnline();
  }));
  fs::rename(archive_.root(), archive_.folder / "unplugged");
  main_.advance(seconds(5));
  EXPECT_TRUE(main_.runUntil([&] {
    turn();
    return !model_->destination().isOnline();
  }));
  put("a.jpg", minutes(1), "a");
  main_.advance(seconds(2));
  settle();
  EXPECT_EQ(filesBelow(inbox_), Strings{"a.jpg"});
  fs::rename(archive_.folder / "unplugged", archive_.root());
  main_.advance(seconds(5));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, WithoutAnInboxNothingIsTaken) {
  watch();
  settle();
  model_->settings().setInbox(std::nullopt);
  put("a.jpg", minutes(1), "a");
  main_.advance(minutes(2));
  settle();
  EXPECT_TRUE(archive_.files().empty());
}

}  // namespace
}  // namespace vaultmere
