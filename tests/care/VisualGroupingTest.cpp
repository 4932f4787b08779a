// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <map>

#include "care/VisualGrouping.h"
#include "tests/support/DeterministicRandom.h"

namespace vaultmere {
namespace {

using Sets = std::vector<std::vector<std::uint32_t>>;

constexpr std::uint64_t kHash = 0x0123'4567'89ab'cdef;

TEST(VisualGrouping, FindsCopies) {
  struct Row {
    const char* name;
    std::vector<HashedPicture> pictures;
    Sets sets;
  };
  const auto flipped = [](std::uint64_t bits) { return HashedPicture{kHash ^ bits, 40, 30}; };
  const std::vector<Row> rows{
      {"nothing", {}, {}},
      {"one", {flipped(0)}, {}},
      {"equal", {flipped(0), flipped(0)}, {{0, 1}}},
      {"all zeros", {{0, 40, 30}, {0, 40, 30}}, {}},
      {"all ones", {{~0ULL, 40, 30}, {~0ULL, 40, 30}}, {}},
      {"4 bits of one band", {flipped(0), flipped(0xF)}, {{0, 1}}},
      {"4 bits of three bands", {flipped(0), flipped(0x1'0001'0003)}, {{0, 1}}},
      {"one bit of each band", {flipped(0), flipped(0x1'0001'0001'0001)}, {}},
      {"5 bits of one band", {flipped(0), flipped(0x1F)}, {}},
      {"the top bit", {flipped(0), flipped(1ULL << 63)}, {{0, 1}}},
      {"a chain", {flipped(0xFF), flipped(0), flipped(0xF)}, {{0, 1, 2}}},
      {"two sets", {flipped(0), {~kHash, 4, 3}, flipped(1), {~kHash, 4, 3}}, {{0, 2}, {1, 3}}},
      {"rotated", {{kHash, 4000, 3000}, {kHash, 3000, 4000}}, {}},
      {"half the size", {{kHash, 4000, 3000}, {kHash, 2000, 1500}}, {{0, 1}}},
      {"2 % wider", {{kHash, 100, 100}, {kHash, 102, 100}}, {{0, 1}}},
      {"3 % wider", {{kHash, 100, 100}, {kHash, 103, 100}}, {}},
      {"without a size", {{kHash, 0, 0}, {kHash, 0, 0}, {kHash, 4, 3}}, {{0, 1, 2}}},
      {"absurd sizes", {{kHash, INT32_MAX, INT32_MIN}, {kHash, INT32_MAX, 1}}, {}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(findCopies(row.pictures), row.sets) << row.name;
  }
}

TEST(VisualGrouping, PassesOverBucketsAboveTheLimit) {
  // All agree in the lowest band alone, and hold one pair of copies.
  DeterministicRandom random(1);
  std::vector<HashedPicture> pictures;
  for (std::size_t i = 0; i + 1 < kMaxBucket; ++i) {
    pictures.push_back({std::stoull(random.hexDigits(1), nullptr, 16) << 16U | 7U, 40, 30});
  }
  // Differs in one bit of each of the other bands.
  pictures.push_back({pictures[0].hash ^ 0x1'0001'0001'0000, 40, 30});
  EXPECT_EQ(findCopies(pictures), (Sets{{0, kMaxBucket - 1}}));
  pictures.push_back({7, 40, 30});
  EXPECT_EQ(findCopies(pictures), Sets());
}

/// The same by comparing all pairs.
Sets setsOfAllPairs(const std::vector<HashedPicture>& pictures) {
  std::vector<std::uint32_t> label(pictures.size());
  for (std::uint32_t i = 0; i < label.size(); ++i) {
    label[i] = i;
  }
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    for (std::size_t j = i + 1; j < pictures.size(); ++j) {
      const std::uint64_t difference = pictures[i].hash ^ pictures[j].hash;
      const bool share = (difference & 0xFFFF) == 0 || (difference >> 16 & 0xFFFF) == 0 ||
                         (difference >> 32 & 0xFFFF) == 0 || difference >> 48 == 0;
      if (share && std::popcount(difference) <= 4 && label[i] != label[j]) {
        const auto [low, high] = std::minmax(label[i], label[j]);
        std::replace(label.begin(), label.end(), std::uint32_t{high}, std::uint32_t{low});
      }
    }
  }
  std::map<std::uint32_t, std::vector<std::uint32_t>> byLabel;
  for (std::uint32_t i = 0; i < label.size(); ++i) {
    byLabel[label[i]].push_back(i);
  }
  Sets sets;
  for (const auto& [first, set] : byLabel) {
    if (set.size() > 1) {
      sets.push_back(set);
    }
  }
  return sets;
}

TEST(VisualGrouping, AgreesWithComparingAllPairs) {
  DeterministicRandom random(2);
  std::vector<HashedPicture> pictures;
  for (int i = 0; i < 700; ++i) {
    std::uint64_t hash =
        pictures.empty() || random.chance(0.4)
            ? std::stoull(random.hexDigits(1), nullptr, 16)
            : pictures[static_cast<std::size_t>(random.below(static_cast<int>(pictures.size())))]
                  .hash;
    for (int bits = random.below(6); bits > 0; --bits) {
      hash ^= 1ULL << random.below(64);
    }
    pictures.push_back({hash, 40, 30});
  }
  const Sets expected = setsOfAllPairs(pictures);
  EXPECT_GT(expected.size(), 50U);
  EXPECT_EQ(findCopies(pictures), expected);
}

TEST(VisualGrouping, GivesNothingAfterAStop) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(findCopies(std::vector<HashedPicture>(2, {kHash, 4, 3}), stop.get_token()), Sets());
}

TEST(VisualGrouping, TheMostReclaimableGroupComesFirst) {
  const auto member = [](const char* id, int width, std::int64_t bytes) {
    DuplicateMember made;
    made.id = id;
    made.width = width;
    made.height = 1;
    made.sizeBytes = bytes;
    return made;
  };
  const auto groups = rankGroups({{member("a", 1, 5), member("b", 2, 900)},
                                  {member("c", 2, 10), member("d", 1, 3), member("e", 1, 3)},
                                  {member("f", 3, 1), member("g", 3, 5)}});
  ASSERT_EQ(groups.size(), 3U);
  EXPECT_EQ(groups[0].id, "c");
  EXPECT_EQ(groups[1].id, "b") << "equal ones stay in their order";
  EXPECT_EQ(groups[2].id, "g");
  EXPECT_EQ(groups[1].members[1].id, "a");
}

}  // namespace
}  // namespace vaultmere
