// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <map>

#include "catalog/ColourFamilies.h"
#include "catalog/FacetSet.h"
#include "tests/catalog/RandomLibrary.h"

namespace vaultmere {
namespace {

using FacetSetTest = EmptyStoreTest;
using Rows = std::vector<LibraryRow>;

/// One count a value, over all rows.
template <typename Value>
std::vector<FacetValue> counted(const Rows& rows, Value value) {
  std::map<std::string, std::int64_t> counts;
  for (const LibraryRow& row : rows) {
    if (const std::optional<std::string> text = value(row.photo)) {
      ++counts[*text];
    }
  }
  std::vector<FacetValue> facets;
  for (const auto& [text, count] : counts) {
    facets.push_back({text, count});
  }
  return facets;
}

/// The forty names that most rows have; ties by number.
template <typename Name>
std::vector<FacetValue> countedNames(const Rows& rows, std::vector<int> LibraryRow::*relation,
                                     Name nameOf) {
  std::map<int, std::int64_t> counts;
  for (const LibraryRow& row : rows) {
    for (const int number : row.*relation) {
      ++counts[number];
    }
  }
  std::vector<FacetValue> facets;
  for (const auto& [number, count] : counts) {
    facets.push_back({nameOf(number), count});
  }
  facets = byCountDescending(std::move(facets));
  facets.resize(std::min<std::size_t>(facets.size(), 40));
  return facets;
}

std::optional<std::string> sizeLabel(const Photo& photo) {
  for (const SizeClass& size : sizeClasses()) {
    if (photo.sizeBytes >= size.lower && photo.sizeBytes < size.upper) {
      return std::string(size.label);
    }
  }
  return std::nullopt;
}

template <typename Position>
std::vector<FacetValue> ordered(std::vector<FacetValue> values, Position position) {
  std::stable_sort(values.begin(), values.end(),
                   [&](const auto& a, const auto& b) { return position(a) < position(b); });
  return values;
}

FacetSet plainFacets(const Rows& rows, const LibraryGenerator& names) {
  FacetSet facets;
  facets.total = std::int64_t(rows.size());
  facets.years = counted(rows, [](const Photo& photo) {
    return photo.year ? std::optional(std::to_string(*photo.year)) : std::nullopt;
  });
  std::reverse(facets.years.begin(), facets.years.end());
  facets.mediaTypes = counted(rows, [](const Photo& photo) { return photo.mediaType; });
  facets.fileTypes = byCountDescending(counted(rows, [](const Photo& photo) { return photo.ext; }));
  facets.colors = ordered(counted(rows, [](const Photo& photo) { return photo.colorFamily; }),
                          [](const FacetValue& facet) { return colourPosition(facet.value); });
  facets.countries =
      byCountDescending(counted(rows, [](const Photo& photo) { return photo.placeCountry; }));
  facets.sizes = ordered(counted(rows, sizeLabel),
                         [](const FacetValue& facet) { return findSizeClass(facet.value)->lower; });
  facets.cameras =
      byCountDescending(counted(rows, [](const Photo& photo) { return photo.cameraModel; }));
  facets.albums =
      countedNames(rows, &LibraryRow::tags, [&](int number) { return names.tagName(number); });
  facets.labels =
      countedNames(rows, &LibraryRow::labels, [&](int number) { return names.labelName(number); });
  for (const LibraryRow& row : rows) {
    facets.noCameraCount += row.photo.cameraModel ? 0 : 1;
    facets.favorites += row.photo.favorite ? 1 : 0;
  }
  return facets;
}

TEST_F(FacetSetTest, CountsWhatAPlainSearchCounts) {
  RandomLibrary library(connection_, 300, 11, 60);
  std::size_t mostLabels = 0;
  for (int round = 0; round < 200; ++round) {
    const PhotoFilter filter = round == 0 ? PhotoFilter() : library.randomFilter();
    const FacetSet expected =
        plainFacets(library.listed(filter, SortOrder::added), library.generator());
    const FacetSet counted = computeFacets(connection_, filter.predicate());
    ASSERT_EQ(counted, expected) << filter.predicate().gathering;
    mostLabels = std::max(mostLabels, counted.labels.size());
  }
  EXPECT_EQ(mostLabels, 40U) << "more occur";
}

}  // namespace
}  // namespace vaultmere
