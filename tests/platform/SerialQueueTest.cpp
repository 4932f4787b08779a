// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <thread>
#include <vector>

#include "platform/SerialQueue.h"
#include "platform/TurnQueue.h"

namespace vaultmere {
namespace {

TEST(SerialQueue, OperationsOfBothKindsNeverOverlapAndKeepTheirOrder) {
  ThreadPool pool(4);
  SerialQueue queue(pool);
  std::vector<int> order;  // unguarded on purpose: the queue is the guard
  for (int i = 0; i < 1000; i += 2) {
    queue.async([&, i] { order.push_back(i); });
    if (i % 10 == 0) {
      queue.perform([&] { order.push_back(i + 1); });
    }
  }
  EXPECT_EQ(queue.perform([&] { return order.size(); }), 600U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 500; ++i) {
          queue.async([&] { order.push_back(i); });
          queue.perform([&] { order.push_back(i); });
        }
      });
    }
  }
  EXPECT_EQ(order.size(), 4600U);
  EXPECT_THROW(queue.perform([] { throw std::runtime_error("no"); }), std::runtime_error);
  EXPECT_EQ(queue.perform([] { return 7; }), 7);
}

TEST(SerialQueue, PerformOnTheOnlyThreadOfThePoolRunsWhatIsAheadOfIt) {
  ThreadPool pool(1);
  SerialQueue queue(pool);
  std::vector<int> order;
  std::latch posted(1);
  pool.post([&] {
    posted.wait();
    queue.perform([&] { order.push_back(3); });
  });
  queue.async([&] { order.push_back(1); });
  queue.async([&] { order.push_back(2); });
  posted.count_down();
  pool.waitUntilIdle();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(TurnQueue, AnOperationMayKeepItsTurnWithoutAThread) {
  ThreadPool pool(1);
  TurnQueue queue(pool);
  std::shared_ptr<TurnQueue::Turn> kept;
  bool hasSecondRun = false;
  queue.async([&](auto turn) { kept = std::move(turn); });
  queue.async([&](const auto&) { hasSecondRun = true; });
  pool.waitUntilIdle();  // the one thread of the pool is free, yet the turn isn't
  EXPECT_FALSE(hasSecondRun);
  kept.reset();
  pool.waitUntilIdle();
  EXPECT_TRUE(hasSecondRun);
}

}  // namespace
}  // namespace vaultmere
