// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <thread>
#include <vector>

#include "platform/SerialQueue.h"

namespace vaultmere {
namespace {

using TurnPointer = std::shared_ptr<SerialQueue::Turn>;

TEST(SerialQueue, OperationsNeverOverlapAndKeepTheirOrder) {
  ThreadPool pool(4);
  SerialQueue queue(pool);
  std::vector<int> order;  // unguarded on purpose: the queue is the guard
  std::latch done(1000);
  for (int i = 0; i < 1000; ++i) {
    queue.async([&, i](const TurnPointer&) {
      order.push_back(i);
      done.count_down();
    });
  }
  done.wait();
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(order.size(), 1000U);
}

TEST(SerialQueue, PerformFromManyThreadsIsExclusive) {
  ThreadPool pool(2);
  SerialQueue queue(pool);
  int counter = 0;
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 500; ++i) {
          queue.perform([&] { ++counter; });
        }
      });
    }
  }
  EXPECT_EQ(counter, 2000);
}

TEST(SerialQueue, AnOperationMayKeepItsTurnWithoutAThread) {
  ThreadPool pool(1);
  SerialQueue queue(pool);
  std::promise<TurnPointer> kept;
  queue.async([&](const TurnPointer& turn) { kept.set_value(turn); });
  TurnPointer turn = kept.get_future().get();
  std::promise<void> second;
  queue.async([&](const TurnPointer&) { second.set_value(); });
  // The one thread of the pool is free, yet the turn isn't.
  std::promise<void> elsewhere;
  pool.post([&] { elsewhere.set_value(); });
  elsewhere.get_future().wait();
  auto ran = second.get_future();
  EXPECT_EQ(ran.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  turn.reset();
  ran.wait();
}

TEST(SerialQueue, AnExceptionGivesTheTurnBack) {
  ThreadPool pool(1);
  SerialQueue queue(pool);
  EXPECT_THROW(queue.perform([] { throw std::runtime_error("no"); }), std::runtime_error);
  EXPECT_EQ(queue.perform([] { return 7; }), 7);
}

}  // namespace
}  // namespace vaultmere
