// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "gallery/http/ResourceBudget.h"

namespace vaultmere {
namespace {

TEST(ResourceBudget, EvictsTheLeastRecentlyActiveFirst) {
  ResourceBudget<char> budget(10);
  budget.set('a', 4, false);
  budget.set('b', 4, false);
  EXPECT_FALSE(budget.isExceeded());
  budget.set('c', 3, false);
  EXPECT_TRUE(budget.isExceeded());
  EXPECT_EQ(budget.leastRecentlyActive(), 'a');
  budget.set('a', 4, false);
  EXPECT_EQ(budget.leastRecentlyActive(), 'b');
  budget.set('b', 4, true);
  EXPECT_EQ(budget.leastRecentlyActive(), 'c');
  budget.forget('c');
  EXPECT_FALSE(budget.isExceeded());
  EXPECT_EQ(budget.leastRecentlyActive(), std::nullopt) << "the only one that isn't busy";
  budget.set('b', 0, false);
  EXPECT_EQ(budget.total(), 4U);
}

TEST(ResourceBudget, TotalsWhatAllHold) {
  std::mt19937 random(7);
  ResourceBudget<int> budget(100);
  std::map<int, std::size_t> amounts;
  for (int round = 0; round < 20'000; ++round) {
    const int holder = static_cast<int>(random() % 20);
    if (random() % 4 == 0) {
      budget.forget(holder);
      amounts.erase(holder);
    } else {
      amounts[holder] = random() % 30;
      budget.set(holder, amounts[holder], random() % 3 == 0);
    }
    std::size_t sum = 0;
    for (const auto& [unused, amount] : amounts) {
      sum += amount;
    }
    ASSERT_EQ(budget.total(), sum);
  }
}

}  // namespace
}  // namespace vaultmere
