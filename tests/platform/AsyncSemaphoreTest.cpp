// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <string>

#include "platform/AsyncSemaphore.h"

namespace vaultmere {
namespace {

TEST(AsyncSemaphore, ResumesWaitersInOrderAndReservesPermitsForForegroundOnes) {
  ThreadPool pool(1);
  AsyncSemaphore semaphore(pool, 2, 1);
  std::string resumed;
  const auto wait = [&](char name, Priority priority) {
    semaphore.wait([&resumed, name] { resumed += name; }, priority);
  };
  wait('a', Priority::background);
  wait('b', Priority::background);
  wait('F', Priority::foreground);
  pool.waitUntilIdle();
  EXPECT_EQ(resumed, "aF") << "the reserved permit";
  wait('G', Priority::foreground);
  pool.waitUntilIdle();
  EXPECT_EQ(resumed, "aF") << "no permit is left, yet the one thread is free";
  for (const char* expected : {"aFG", "aFG", "aFGb", "aFGb"}) {
    semaphore.signal();
    pool.waitUntilIdle();
    EXPECT_EQ(resumed, expected);
  }
  wait('H', Priority::foreground);
  pool.waitUntilIdle();
  EXPECT_EQ(resumed, "aFGbH") << "the permit that nobody wanted";
}

}  // namespace
}  // namespace vaultmere
