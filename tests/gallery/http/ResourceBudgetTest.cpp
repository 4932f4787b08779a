// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace vaultmere
