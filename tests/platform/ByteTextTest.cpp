// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <limits>

#include "platform/ByteText.h"

namespace vaultmere {
namespace {

TEST(ByteText, RoundsInTheSmallestUnitThatHoldsTheNumber) {
  using Limits = std::numeric_limits<std::int64_t>;
  const struct {
    std::int64_t bytes;
    const char* text;
    const char* withKB;
  } rows[] = {
      {0, "0 MB", "0 KB"},
      {499, "0 MB", "0 KB"},
      {500, "0 MB", "1 KB"},
      {49'999, "0 MB", "50 KB"},
      {50'000, "0.1 MB", "50 KB"},
      {949'999, "0.9 MB", "950 KB"},
      {950'000, "1 MB", "950 KB"},
      {999'499, "1 MB", "999 KB"},
      {999'500, "1 MB", "1 MB"},
      {12'345'678, "12.3 MB", "12.3 MB"},
      {999'949'999, "999.9 MB", "999.9 MB"},
      {999'950'000, "1 GB", "1 GB"},
      {1'004'999'999, "1 GB", "1 GB"},
      {1'005'000'000, "1.01 GB", "1.01 GB"},
      {1'500'000'000, "1.5 GB", "1.5 GB"},
      {5'000'000'000, "5 GB", "5 GB"},
      {100'000'000'000, "100 GB", "100 GB"},
      {999'994'999'999, "999.99 GB", "999.99 GB"},
      {999'995'000'000, "1 TB", "1 TB"},
      {1'250'000'000'000, "1.25 TB", "1.25 TB"},
      {Limits::max(), "9223372.04 TB", "9223372.04 TB"},
      {Limits::min(), "-9223372.04 TB", "-9223372.04 TB"},
      {-1, "0 MB", "0 KB"},
      {-50'000, "-0.1 MB", "-50 KB"},
      {-999'950'000, "-1 GB", "-1 GB"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(byteText(row.bytes), row.text) << row.bytes;
    EXPECT_EQ(byteTextWithKB(row.bytes), row.withKB) << row.bytes;
  }
}

}  // namespace
}  // namespace vaultmere
