// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "thumbnails/BitmapCache.h"

namespace vaultmere {
namespace {

std::shared_ptr<const Bitmap> bitmapOf(int width) {
  return std::make_shared<const Bitmap>(
      Bitmap{width, 1, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * 4)});
}

/// The names that are kept, of "abcdef".
std::string kept(BitmapCache& cache) {
  std::string names;
  for (const char name : std::string_view("abcdef")) {
    names += cache.find({name}) ? std::string{name} : "";
  }
  return names;
}

TEST(BitmapCache, EvictsTheLeastRecentlyUsed) {
  BitmapCache cache({3, 100});
  for (const char* name : {"a", "b", "c"}) {
    cache.insert(name, bitmapOf(1));
  }
  EXPECT_TRUE(cache.find("a"));
  cache.insert("d", bitmapOf(1));
  EXPECT_EQ(kept(cache), "acd");
  cache.insert("e", bitmapOf(23));  // 92 bytes, with 8 for two more
  EXPECT_EQ(kept(cache), "cde");
  cache.insert("f", bitmapOf(26));
  EXPECT_EQ(kept(cache), "cde") << "one that is too large";
  cache.insert("c", bitmapOf(2));  // 4 bytes become 8
  EXPECT_EQ(kept(cache), "ce");
  EXPECT_EQ(cache.find("c")->width, 2);
  cache.clear();
  EXPECT_EQ(kept(cache), "");
  cache.insert("a", bitmapOf(25));
  EXPECT_EQ(kept(cache), "a") << "nothing counts twice";
}

}  // namespace
}  // namespace vaultmere
