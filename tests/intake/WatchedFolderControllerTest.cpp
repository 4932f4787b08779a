// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "intake/WatchedFolderController.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualMainThread.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

/// A watched folder whose scans find what a test says. Its looks run on a pool
/// of one thread, or stay where they are when they hang.
struct Watched {
  explicit Watched(WatchDependencies dependencies = {.watchMounts = false}) {
    dependencies.background = [this](std::function<void()> job) {
      hangs ? hanging.push_back(std::move(job)) : pool.post(std::move(job));
    };
    controller = std::make_unique<WatchedFolderController>(
        main,
        WatchedFolderController::Pipeline{
            [this] {
              ++passes;
              return [this](const auto&) { return found; };
            },
            [this](auto, std::stop_token stop, WatchedFolderController::Done done) {
              lastStop = std::move(stop);
              draining.push_back(std::move(done));
              return true;
            }},
        dependencies);
  }

  /// A pass at once, and with the kernel's notices one when they have begun.
  void watch(int expectedPasses = 2) {
    Bookmark anyDrive;
    anyDrive.path = folder.path();
    controller->watch(anyDrive);
    settle();
    main.advance(seconds(1));
    ASSERT_TRUE(reaches(expectedPasses));
  }

  void settle() { main.settle(pool); }

  /// Waits for the system's notices, without letting time pass.
  bool reaches(int expectedPasses) {
    return main.runUntil([&] {
      main.post([] {});  // looks again soon
      settle();
      return passes == expectedPasses;
    });
  }

  int passesIn(seconds time) {
    const int before = passes;
    for (; time.count() > 0; --time) {
      main.advance(seconds(1));
      settle();
    }
    return passes - before;
  }

  const TemporaryFolder folder;
  ManualMainThread main{TimePoint{}};
  ThreadPool pool{1};
  int passes = 0;
  WatchedFolderController::Scan found;
  bool hangs = false;
  std::vector<std::function<void()>> hanging;
  std::vector<WatchedFolderController::Done> draining;
  std::stop_token lastStop;
  std::unique_ptr<WatchedFolderController> controller;
};

WatchedFolderController::Scan unsettled(std::uint64_t listing) { return {{}, 1, listing, 0}; }

WatchedFolderController::Scan settled() { return {{AssetGroup{}}, 0, 0, 100}; }

TEST(WatchedFolderController, LooksLessOftenWhileNothingSettlesAndSoonAfterAChange) {
  Watched watched;
  watched.found = unsettled(1);
  watched.watch();
  EXPECT_EQ(watched.passesIn(seconds(5)), 1);
  EXPECT_EQ(watched.passesIn(seconds(11)), 0);
  EXPECT_EQ(watched.passesIn(seconds(1)), 1);
  EXPECT_EQ(watched.passesIn(seconds(24)), 1);
  watched.passesIn(minutes(20));
  EXPECT_EQ(watched.passesIn(minutes(50)), 10);
  watched.found = unsettled(2);  // it grows
  watched.controller->pass();
  EXPECT_EQ(watched.passesIn(seconds(7)), 1);
  watched.found = {};
  watched.controller->pass();
  watched.passesIn(minutes(20));
  watched.found = unsettled(2);
  watched.controller->pass();
  EXPECT_EQ(watched.passesIn(seconds(7)), 1);
}

TEST(WatchedFolderController, KeepsAtMostOnePassPending) {
  Watched watched;
  watched.watch();
  watched.found = settled();
  for (int i = 0; i < 10; ++i) {
    watched.controller->pass();
    watched.settle();
  }
  ASSERT_EQ(watched.draining.size(), 1U);
  for (int i = 0; i < 2; ++i) {
    watched.draining[0]({});
    watched.settle();
    EXPECT_EQ(watched.draining.size(), 2U);
  }
  watched.controller->watch(std::nullopt);
  EXPECT_TRUE(watched.lastStop.stop_requested());
  watched.draining[1]({});
  EXPECT_EQ(watched.passesIn(minutes(2)), 0) << "no folder is watched any more";
}

TEST(WatchedFolderController, IgnoresAnotherDriveAtTheSamePath) {
  Watched watched;
  watched.found = settled();
  Bookmark elsewhere = Bookmark::of(watched.folder.path());
  elsewhere.volume = VolumeIdentity{"11111111-2222-3333-4444-555555555555", "ext4", "/dev/absent"};
  watched.controller->watch(elsewhere);
  watched.passesIn(minutes(2));
  EXPECT_TRUE(watched.draining.empty());
}

TEST(WatchedFolderController, PollsForWhatTheKernelDoesNotTell) {
  Watched watched({.watchMounts = false, .watchFolder = false});
  watched.watch(1);
  EXPECT_EQ(watched.passesIn(minutes(2)), 0);
  writeText(watched.folder / "a.jpg", "a");
  EXPECT_EQ(watched.passesIn(seconds(28)), 0);
  EXPECT_EQ(watched.passesIn(seconds(1)), 1);
  EXPECT_EQ(watched.passesIn(minutes(2)), 0);
}

TEST(WatchedFolderController, NoticesADriveThatIsMountedOverTheFolder) {
  withPrivateMounts([] {
    Watched watched(WatchDependencies{});
    watched.watch();
    watched.main.advance(seconds(1));
    plugIn(watched.folder.path(), "card");
    ASSERT_TRUE(watched.reaches(3));
    watched.main.advance(seconds(1));
    ASSERT_TRUE(watched.reaches(4)) << "the notices of the new folder have begun";
    watched.main.advance(seconds(1));
    writeText(watched.folder / "a.jpg", "a");
    EXPECT_TRUE(watched.reaches(5));
    watched.controller.reset();
    unplug(watched.folder.path());
  });
}

TEST(WatchedFolderController, ReportsAFolderThatHangsOnceAndLooksAgainAfterARemount) {
  const LogCapture log;
  Watched watched;
  watched.watch();
  const int before = watched.passes;
  watched.hangs = true;
  watched.controller->pass();
  watched.passesIn(seconds(59));
  EXPECT_TRUE(log.lines().empty());
  watched.passesIn(minutes(10));
  watched.controller->pass();
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0], "Vaultmere: watched folder not scanned — no answer from " +
                                watched.folder.path().native());
  EXPECT_EQ(watched.passes, before + 1);

  watched.hangs = false;
  watched.found = settled();
  watched.controller->mountsChanged();
  watched.settle();
  EXPECT_EQ(watched.draining.size(), 1U);
  for (const auto& job : watched.hanging) {
    job();
  }
  watched.settle();
  EXPECT_EQ(watched.draining.size(), 1U) << "an old answer doesn't count";

  watched.found = {};
  watched.draining[0]({});
  watched.settle();
  watched.hanging.clear();
  watched.hangs = true;
  for (int i = 0; i < 20; ++i) {
    watched.controller->pass();
    watched.passesIn(minutes(2));
    watched.controller->mountsChanged();
  }
  EXPECT_EQ(watched.hanging.size(), InboxWatcher::kMaxLooks + WatchedFolderController::kMaxLooks);
}

TEST(WatchedFolderController, TriesTurnedAwayFilesAgainWhenThereIsRoom) {
  Watched watched;
  watched.watch();
  watched.found = settled();
  const auto passesWith = [&](std::int64_t bytes) {
    const int before = watched.passes;
    watched.controller->destinationHasRoom(bytes);
    watched.settle();
    return watched.passes - before;
  };
  const auto finish = [&](IngestOutcome outcome) {
    IngestCoordinator::BatchResult batch;
    batch.results.emplace_back().outcome = outcome;
    watched.draining.back()(batch);
    watched.settle();
  };
  watched.controller->pass();
  watched.settle();
  finish(IngestOutcome::skipped);
  EXPECT_EQ(passesWith(99), 0);
  EXPECT_EQ(passesWith(100), 1);
  EXPECT_EQ(passesWith(100), 0) << "under way";
  finish(IngestOutcome::inserted);
  EXPECT_EQ(passesWith(100), 0) << "nothing is left";
}

}  // namespace
}  // namespace vaultmere
