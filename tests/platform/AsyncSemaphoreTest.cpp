// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/AsyncSemaphore.h"

namespace vaultmere {
namespace {

TEST(AsyncSemaphore, LetsAsManyThroughAsItHasPermits) {
  ThreadPool pool(1);
  AsyncSemaphore semaphore(pool, 2);
  std::vector<int> resumed;
  for (int i = 1; i <= 5; ++i) {
    semaphore.wait([&resumed, i] { resumed.push_back(i); });
  }
  pool.waitUntilIdle();  // the thread is free although three wait
  EXPECT_EQ(resumed, (std::vector<int>{1, 2}));
  semaphore.signal();
  semaphore.signal();
  pool.waitUntilIdle();
  EXPECT_EQ(resumed, (std::vector<int>{1, 2, 3, 4}));
  semaphore.signal();
  semaphore.signal();
  pool.waitUntilIdle();
  EXPECT_EQ(resumed.size(), 5U);
  semaphore.wait([&resumed] { resumed.push_back(6); });  // the permit that nobody wanted
  pool.waitUntilIdle();
  EXPECT_EQ(resumed.back(), 6);
}

TEST(AsyncSemaphore, KeepsBackgroundTasksBehindForegroundOnes) {
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
  for (const char* expected : {"aFG", "aFG", "aFGb"}) {
    semaphore.signal();
    pool.waitUntilIdle();
    EXPECT_EQ(resumed, expected);
  }
}

}  // namespace
}  // namespace vaultmere
