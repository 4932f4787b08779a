// SPDX-License-Identifier: GPL-3.0-or-later
#include <latch>
#include <mutex>

#include "platform/FaultPoint.h"
#include "tests/app/Program.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

/// Files are real, and so are the kernel's notices.
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

TEST_F(WatchedFolderTest, TakesWhatLiesThereAtStartAndWhatComesOnceItHasSettled) {
  put("a.jpg", minutes(1), "a");
  put("notes.txt", minutes(1), "t");
  watch();
  EXPECT_TRUE(archived(1));
  EXPECT_EQ(model_->imports().status(), "Watch: 1 new");
  put("fresh.jpg", seconds(1), "fresh");
  pass(seconds(2));
  EXPECT_EQ(archive_.files().size(), 1U);
  pass(seconds(7));
  EXPECT_TRUE(archived(2));
  EXPECT_EQ(filesBelow(inbox_), Strings{"notes.txt"});
}

TEST_F(WatchedFolderTest, TakesFilesOfAFolderThatWasMissing) {
  watch();
  fs::remove_all(inbox_);
  pass(seconds(40));
  fs::create_directories(inbox_);
  put("a.jpg", minutes(1), "a");
  pass(seconds(40));
  EXPECT_TRUE(archived(1));
}

TEST_F(WatchedFolderTest, TakesFilesOnceTheDestinationIsBack) {
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

TEST_F(WatchedFolderTest, TakesFilesOnceThereIsRoom) {
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

TEST_F(WatchedFolderTest, ANewDestinationTakesOverInTheMiddleOfAPass) {
  constexpr std::size_t kFiles = 40;
  const std::size_t width = batchWidth(activeProcessors());
  const fs::path other = archive_.folder / "other";
  fs::create_directories(other);
  watch();
  std::latch changed(1);
  const auto change = FaultPlan::doing("rename", 3, [&] {
    main_.post([&] {
      model_->settings().setDestinationRoot(other, [&](const auto&) { changed.count_down(); });
    });
    changed.wait();
  });
  for (std::size_t i = 0; i < kFiles; ++i) {
    put(std::to_string(i) + ".jpg", minutes(1), std::to_string(i));
  }
  model_->watchedFolder().pass();
  EXPECT_TRUE(main_.runUntil([&] {
    archive_.pool.post([this] { main_.post([] {}); });
    return filesBelow(inbox_).empty() && !model_->imports().isImporting();
  }));
  EXPECT_LE(archive_.files().size(), 2 + width);
  EXPECT_GE(archive_.files().size() + filesBelow(other).size(), kFiles);
  ImportLog log(archive_.data() / "import-log.jsonl", archive_.pool);
  EXPECT_LE(log.read(10 * kFiles).size(), kFiles + width) << "only what was under way may fail";
}

TEST_F(WatchedFolderTest, HoldsUpNeitherDropsNorTheEndWhenItHangs) {
  static std::latch hangs(1);
  static std::latch released(1);
  static std::once_flag once;
  watch();
  usesOwnThreads_ = true;
  setFaultHook([](std::string_view step, const fs::path& path) {
    if (step == "readdir" && path.filename() == "inbox") {
      std::call_once(once, [] { hangs.count_down(); });
      released.wait();
    }
    return 0;
  });
  put("a.jpg", minutes(1), "a");
  pass(seconds(40));
  hangs.wait();
  model_->destination().refresh();
  ASSERT_TRUE(main_.runUntil([&] { return model_->destination().isOnline(); }));
  model_->importDropped({archive_.source("b.jpg", "b")});
  settle();
  EXPECT_EQ(model_->imports().status(), "Imported: 1 new");
  model_.reset();
  archive_.pool.join();
  released.count_down();
  ownThreads_.clear();
  setFaultHook(nullptr);
  EXPECT_EQ(filesBelow(inbox_), Strings{"a.jpg"});
}

}  // namespace
}  // namespace vaultmere
