// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/VisualGrouping.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

namespace vaultmere {
namespace {

constexpr unsigned kBands = 4;
constexpr unsigned kBandBits = 16;
constexpr std::size_t kBuckets = std::size_t{1} << kBandBits;

/// Of the larger of two cross products.
constexpr double kAspectTolerance = 0.02;

using Number = std::uint32_t;

/// Sets that only ever grow together.
class DisjointSets {
 public:
  explicit DisjointSets(std::size_t count) : parents_(count) {
    std::iota(parents_.begin(), parents_.end(), Number{0});
  }

  Number root(Number element) {
    while (parents_[element] != element) {
      parents_[element] = parents_[parents_[element]];  // path halving
      element = parents_[element];
    }
    return element;
  }

  void unite(Number a, Number b) { parents_[root(b)] = root(a); }

 private:
  std::vector<Number> parents_;
};

/// A picture in a bucket; the hash is here because all pairs are compared.
struct Entry {
  std::uint64_t hash = 0;
  Number number = 0;
};

bool isFlat(std::uint64_t hash) {
  return hash == 0 || hash == std::numeric_limits<std::uint64_t>::max();
}

bool haveOneShape(const HashedPicture& a, const HashedPicture& b) {
  const double ab = static_cast<double>(a.width) * b.height;
  const double ba = static_cast<double>(a.height) * b.width;
  return std::abs(ab - ba) <= kAspectTolerance * std::max(ab, ba);
}

void linkBucket(std::span<const Entry> bucket, std::span<const HashedPicture> pictures,
                DisjointSets& sets) {
  for (std::size_t i = 0; i < bucket.size(); ++i) {
    const Entry& a = bucket[i];
    for (std::size_t j = i + 1; j < bucket.size(); ++j) {
      const Entry& b = bucket[j];
      if (std::popcount(a.hash ^ b.hash) <= kMaxHashDistance &&
          sets.root(a.number) != sets.root(b.number) &&
          haveOneShape(pictures[a.number], pictures[b.number])) {
        sets.unite(a.number, b.number);
      }
    }
  }
}

/// Links the copies that agree in one band. `entries` has room for all pictures.
void linkBand(unsigned band, std::span<const HashedPicture> pictures, std::vector<Entry>& entries,
              DisjointSets& sets, const std::stop_token& stop) {
  const auto bucketOf = [shift = band * kBandBits](std::uint64_t hash) {
    return static_cast<std::size_t>(hash >> shift & (kBuckets - 1));
  };
  // A counting sort: first where each bucket ends, then the entries from there down.
  std::vector<Number> starts(kBuckets + 1);
  for (const HashedPicture& picture : pictures) {
    starts[bucketOf(picture.hash)] += isFlat(picture.hash) ? 0U : 1U;
  }
  std::partial_sum(starts.begin(), starts.end(), starts.begin());
  for (std::size_t i = pictures.size(); i > 0; --i) {
    const std::uint64_t hash = pictures[i - 1].hash;
    if (!isFlat(hash)) {
      entries[--starts[bucketOf(hash)]] = {hash, static_cast<Number>(i - 1)};
    }
  }
  for (std::size_t bucket = 0; bucket < kBuckets && !stop.stop_requested(); ++bucket) {
    const std::size_t size = starts[bucket + 1] - starts[bucket];
    if (size <= kMaxBucket) {
      linkBucket({entries.data() + starts[bucket], size}, pictures, sets);
    }
  }
}

/// The sets of two or more, in the order of their first elements.
std::vector<std::vector<Number>> collect(DisjointSets& sets, std::size_t count) {
  std::vector<Number> sizes(count);
  for (std::size_t i = 0; i < count; ++i) {
    ++sizes[sets.root(static_cast<Number>(i))];
  }
  constexpr Number kNone = std::numeric_limits<Number>::max();
  std::vector<Number> places(count, kNone);  // of a root's set in the result
  std::vector<std::vector<Number>> collected;
  for (std::size_t i = 0; i < count; ++i) {
    const Number root = sets.root(static_cast<Number>(i));
    if (sizes[root] < 2) {
      continue;
    }
    if (places[root] == kNone) {
      places[root] = static_cast<Number>(collected.size());
      collected.emplace_back().reserve(sizes[root]);
    }
    collected[places[root]].push_back(static_cast<Number>(i));
  }
  return collected;
}

}  // namespace

std::vector<std::vector<std::uint32_t>> findCopies(std::span<const HashedPicture> pictures,
                                                   const std::stop_token& stop) {
  DisjointSets sets(pictures.size());
  {
    std::vector<Entry> entries(pictures.size());
    for (unsigned band = 0; band < kBands; ++band) {
      linkBand(band, pictures, entries, sets, stop);
    }
  }
  return stop.stop_requested() ? std::vector<std::vector<Number>>()
                               : collect(sets, pictures.size());
}

std::vector<VisualGroup> rankGroups(std::vector<std::vector<DuplicateMember>> sets) {
  std::vector<std::pair<std::int64_t, VisualGroup>> ranked;
  ranked.reserve(sets.size());
  for (auto& members : sets) {
    rankMembers(members);
    const std::int64_t reclaimable = reclaimableBytes(members);
    std::string id = members.front().id;
    ranked.push_back({reclaimable, {std::move(id), std::move(members)}});
  }
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<VisualGroup> groups;
  groups.reserve(ranked.size());
  std::transform(std::make_move_iterator(ranked.begin()), std::make_move_iterator(ranked.end()),
                 std::back_inserter(groups), [](auto entry) { return std::move(entry.second); });
  return groups;
}

}  // namespace vaultmere
