// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "intake/WatchedFolderController.h"
#include "tests/support/ManualMainThread.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class InboxDoorTest : public testing::Test {
 protected:
  void watch() {
    door_.watch(Bookmark::of(folder_.path()));
    main_.settle(pool_);
    main_.advance(seconds(1));
    // One pass at once, and one when the kernel's watch has begun.
    ASSERT_TRUE(main_.runUntil([&] {
      main_.post([] {});
      main_.settle(pool_);
      return passes_ == 2;
    }));
  }

  int passesIn(seconds time) {
    const int before = passes_;
    for (; time.count() > 0; --time) {
      main_.advance(seconds(1));
      main_.settle(pool_);
    }
    return passes_ - before;
  }

  const TemporaryFolder folder_;
  ManualMainThread main_{TimePoint{}};
  ThreadPool pool_{1};
  int passes_ = 0;
  IngestCoordinator::BatchResult found_;
  bool answers_ = true;
  std::vector<WatchedFolderController::Done> waiting_;
  std::stop_token lastStop_;
  WatchedFolderController door_{
      main_, pool_, [this](const auto&, std::stop_token stop, WatchedFolderController::Done done) {
        ++passes_;
        lastStop_ = std::move(stop);
        answers_ ? done(found_) : waiting_.push_back(std::move(done));
        return true;
      }};
};

TEST_F(InboxDoorTest, AFileThatNeverSettlesIsAskedForLessAndLess) {
  found_ = {{}, 0, 1, 1};
  watch();
  EXPECT_EQ(passesIn(seconds(5)), 1);
  EXPECT_EQ(passesIn(seconds(11)), 0);
  EXPECT_EQ(passesIn(seconds(1)), 1);
  EXPECT_EQ(passesIn(seconds(24)), 1);
  passesIn(minutes(20));
  EXPECT_EQ(passesIn(minutes(50)), 10);
  found_.listing = 2;  // it grows
  while (passesIn(seconds(1)) == 0) {
  }
  EXPECT_EQ(passesIn(seconds(5)), 0);
  EXPECT_EQ(passesIn(seconds(1)), 1);
}

TEST_F(InboxDoorTest, AChangeIsLookedAtSoonWhateverElseIsWaitedFor) {
  found_ = {{}, 0, 1, 1};
  watch();
  passesIn(minutes(20));
  found_.listing = 2;
  door_.pass();
  EXPECT_EQ(passesIn(seconds(7)), 2);
  found_ = {};
  door_.pass();
  passesIn(minutes(20));
  found_ = {{}, 0, 1, 2};
  door_.pass();
  EXPECT_EQ(passesIn(seconds(7)), 2);
}

TEST_F(InboxDoorTest, PassesDoNotPileUp) {
  watch();
  answers_ = false;
  for (int i = 0; i < 10; ++i) {
    door_.pass();
    main_.settle(pool_);
  }
  ASSERT_EQ(waiting_.size(), 1U);
  waiting_[0]({});
  main_.settle(pool_);
  ASSERT_EQ(waiting_.size(), 2U);
  waiting_[1]({});
  main_.settle(pool_);
  EXPECT_EQ(waiting_.size(), 2U);
}

TEST_F(InboxDoorTest, AFolderThatIsGivenUpIsLeftAtOnce) {
  watch();
  answers_ = false;
  door_.pass();
  main_.settle(pool_);
  door_.watch(std::nullopt);
  EXPECT_TRUE(lastStop_.stop_requested());
  waiting_.at(0)({});
  EXPECT_EQ(passesIn(minutes(2)), 0);
}

TEST_F(InboxDoorTest, AnotherDriveAtTheSamePathIsNotTheFolder) {
  Bookmark elsewhere = Bookmark::of(folder_.path());
  elsewhere.volume = VolumeIdentity{"11111111-2222-3333-4444-555555555555", "ext4", "/dev/absent"};
  door_.watch(elsewhere);
  EXPECT_EQ(passesIn(minutes(2)), 0);
}

}  // namespace
}  // namespace vaultmere
