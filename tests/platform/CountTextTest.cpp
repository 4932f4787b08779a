// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <limits>

#include "platform/CountText.h"

namespace vaultmere {
namespace {

TEST(CountText, SeparatesGroupsOfThree) {
  EXPECT_EQ(groupedCount(0, ","), "0");
  EXPECT_EQ(groupedCount(999, ","), "999");
  EXPECT_EQ(groupedCount(1234, ","), "1,234");
  EXPECT_EQ(groupedCount(-100, ","), "-100");
  EXPECT_EQ(groupedCount(-1000000, "\u202f"), "-1\u202f000\u202f000");
  EXPECT_EQ(groupedCount(std::numeric_limits<std::int64_t>::min(), "."),
            "-9.223.372.036.854.775.808");
}

}  // namespace
}  // namespace vaultmere
