// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "core/InboxDoor.h"
#include "platform/ManualMainThread.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using std::chrono::seconds;

TEST(InboxDoor, AFileThatNeverSettlesIsAskedForLessAndLess) {
  const TemporaryFolder folder;
  ManualMainThread main(TimePoint{});
  ThreadPool pool(1);  // what it still does may post
  int passes = 0;
  std::uint64_t listing = 1;
  InboxDoor door(main, pool, [&](const auto&, const InboxDoor::Done& done) {
    ++passes;
    main.post([&, done] { done({{}, 0, 1, listing}); });
    return true;
  });
  door.watch(Bookmark::of(folder.path()));
  ASSERT_TRUE(main.runUntil([&] { return passes == 1; }));
  main.advance(seconds(1));
  ASSERT_TRUE(main.runUntil([&] { return passes == 2; }));  // the kernel's watch has begun
  const auto passesIn = [&](seconds time) {
    const int before = passes;
    main.advance(time);
    return passes - before;
  };
  EXPECT_EQ(passesIn(seconds(5)), 1);
  EXPECT_EQ(passesIn(seconds(11)), 0);
  EXPECT_EQ(passesIn(seconds(1)), 1);
  EXPECT_EQ(passesIn(seconds(24)), 1);
  main.advance(std::chrono::hours(1));
  EXPECT_EQ(passesIn(std::chrono::minutes(50)), 10);
  listing = 2;  // it grows
  while (passesIn(seconds(1)) == 0) {
  }
  EXPECT_EQ(passesIn(seconds(5)), 0);
  EXPECT_EQ(passesIn(seconds(1)), 1);
}

TEST(InboxDoor, PassesDoNotPileUp) {
  const TemporaryFolder folder;
  ManualMainThread main(TimePoint{});
  ThreadPool pool(1);  // what it still does may post
  std::vector<InboxDoor::Done> waiting;
  InboxDoor door(main, pool, [&](const auto&, InboxDoor::Done done) {
    waiting.push_back(std::move(done));
    return true;
  });
  door.watch(Bookmark::of(folder.path()));
  ASSERT_TRUE(main.runUntil([&] { return waiting.size() == 1; }));
  for (int i = 0; i < 10; ++i) {
    door.pass();
  }
  EXPECT_EQ(waiting.size(), 1U);
  waiting[0]({});
  main.runPosted();
  ASSERT_EQ(waiting.size(), 2U);
  waiting[1]({});
  main.runPosted();
  EXPECT_EQ(waiting.size(), 2U);
}

}  // namespace
}  // namespace vaultmere
