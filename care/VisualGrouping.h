// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "care/DuplicateMember.h"

namespace vaultmere {

/// What copies of one picture are recognised by.
struct HashedPicture {
  std::uint64_t hash = 0;  ///< see `differenceHash`
  int width = 0;           ///< pixels
  int height = 0;
};

/// How many of the 64 bits of two hashes may differ between copies of one picture.
inline constexpr int kMaxHashDistance = 4;

/// A bucket of more pictures is passed over: it is of something degenerate, and the cost
/// of comparing grows with the square.
inline constexpr std::size_t kMaxBucket = 2000;

/// Finds copies: the numbers of the pictures of each set of two or more, ascending, the
/// sets in the order of their first one.
///
/// Two pictures are copies when their hashes differ in at most `kMaxHashDistance` bits
/// and their aspect ratios by at most 2 %. A chain of copies is one set, however far its
/// ends are apart. Flat pictures, with a hash of zeros or ones alone, are none. Only
/// pictures that agree in one of the hash's four 16-bit bands are compared, which all
/// are whose hashes differ in fewer than four of them; so only those are missed that have
/// one of four differing bits in each band, and those of large buckets.
///
/// Memory: 20 bytes a picture beside the result. Empty after a stop.
[[nodiscard]] std::vector<std::vector<std::uint32_t>> findCopies(
    std::span<const HashedPicture> pictures, const std::stop_token& stop = {});

/// Copies of one picture.
struct VisualGroup {
  std::string id;  ///< that of the first member
  std::vector<DuplicateMember> members;
  bool operator==(const VisualGroup&) const = default;
};

/// Ranks the members of each set, which has at least one; the groups in the order of
/// their reclaimable bytes, the most first.
[[nodiscard]] std::vector<VisualGroup> rankGroups(std::vector<std::vector<DuplicateMember>> sets);

}  // namespace vaultmere
