// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/app/Program.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

/// Files are real, and so are the notices of the kernel.
class WatchedFolderTest : public Program {
 protected:
  WatchedFolderTest() { fs::create_directories(inbox_); }

  void watch() {
    startWithDestination().settings().setInbox(inbox_);
    settle();
  }

  /// A file in the watched folder, last written so long ago.
  void put(const std::string& name, Duration age, const std::string& bytes) {
    writeText(archive_.folder / "new", bytes);
    setModified(archive_.folder / "new", main_.now() - age);
    fs::rename(archive_.folder / "new", inbox_ / name);
  }

  /// Waits until the archive holds so many files; the kernel's notices take
  /// their time.
  bool archived(std::size_t count) {
    return main_.runUntil([&] {
      archive_.pool.post([this] { main_.post([] {}); });  // looks again soon
      return archive_.files().size() == count;
    }) && (settle(), !model_->imports().isImporting());
  }

  const fs::path inbox_ = archive_.folder / "inbox";
};

TEST_F(WatchedFolderTest, WhatLiesThereAtStartIsTakenAndWhatComesLaterToo) {
  put("a.jpg", minutes(1), "a");
  put("notes.txt", minutes(1), "t");
  watch();
  EXPECT_TRUE(archived(1));
  EXPECT_EQ(model_->imports().status(), "Watch: 1 new");
  put("b.jpg", minutes(1), "b");
  pass(seconds(1));
  EXPECT_TRUE(archived(2));
  EXPECT_EQ(filesBelow(inbox_), Strings{"notes.txt"});
}

TEST_F(WatchedFolderTest, AFreshFileIsTakenOnceItHasSettled) {
  put("fresh.jpg", seconds(1), "fresh");
  watch();
  pass(seconds(3));
  EXPECT_TRUE(archive_.files().empty());
  pass(seconds(3));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, TheFolderMayGoAndComeBack) {
  watch();
  fs::remove_all(inbox_);
  pass(seconds(40));
  fs::create_directories(inbox_);
  put("a.jpg", minutes(1), "a");
  pass(seconds(40));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, FilesThatCameWhileTheDestinationWasAwayAreTakenOnItsReturn) {
  watch();
  fs::rename(archive_.root(), archive_.folder / "unplugged");
  pass(seconds(5));
  EXPECT_FALSE(model_->destination().isOnline());
  put("a.jpg", minutes(1), "a");
  pass(seconds(2));
  EXPECT_EQ(filesBelow(inbox_), Strings{"a.jpg"});
  fs::rename(archive_.folder / "unplugged", archive_.root());
  pass(seconds(5));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, FilesTurnedAwayByAFullDestinationAreTakenWhenRoomComesBack) {
  room_ = 0;
  watch();
  put("a.jpg", minutes(1), "a");
  pass(seconds(2));
  EXPECT_TRUE(main_.runUntil([&] {
    archive_.pool.post([this] { main_.post([] {}); });
    return model_->imports().status() == "Watch: 0 new, 1 skipped (no space)";
  }));
  room_ = std::int64_t{1} << 40;
  pass(DestinationMonitor::kPollInterval);
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, APassThatFindsNothingReadsNoOriginals) {
  put("a.jpg", minutes(1), "no picture");
  watch();
  EXPECT_TRUE(archived(1));
  model_->thumbnails().provider()->clearCache();
  const auto reads = FaultPlan::failing("open", 1, EIO, archive_.root().native());
  put("notes.txt", minutes(1), "t");
  model_->watchedFolder().pass();
  settle();
  EXPECT_FALSE(reads.wasHit());
  model_->thumbnails().warm();
  settle();
  EXPECT_TRUE(reads.wasHit());
}

TEST_F(WatchedFolderTest, WithoutAnInboxNothingIsTaken) {
  watch();
  model_->settings().setInbox(std::nullopt);
  put("a.jpg", minutes(1), "a");
  pass(minutes(2));
  EXPECT_TRUE(archive_.files().empty());
}

}  // namespace
}  // namespace vaultmere
