// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <map>

#include "catalog/ColourFamilies.h"
#include "catalog/FacetSet.h"
#include "tests/catalog/RandomLibrary.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

class FacetSetTest : public testing::Test {
 protected:
  FacetSetTest() : connection_(folder_ / "store.sqlite") { prepareSchema(connection_); }

  /// The names in the order in which they came.
  std::vector<std::string> names(const char* sql) {
    std::vector<std::string> list;
    auto rows = connection_.prepare(sql);
    while (rows.step()) {
      list.push_back(rows.text(0));
    }
    return list;
  }

  TemporaryFolder folder_;
  Connection connection_;
};

using Rows = std::vector<ListedPhoto>;

/// One count a value, over all rows.
template <typename Value>
std::vector<FacetValue> counted(const Rows& rows, Value value) {
  std::map<std::string, std::int64_t> counts;
  for (const ListedPhoto& row : rows) {
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

std::vector<FacetValue> countedNames(const Rows& rows, const std::vector<std::string>& names,
                                     std::vector<std::string> ListedPhoto::*relation) {
  std::vector<FacetValue> facets;
  for (const std::string& name : names) {
    const auto count = std::count_if(rows.begin(), rows.end(), [&](const ListedPhoto& row) {
      return std::count(std::begin(row.*relation), std::end(row.*relation), name) > 0;
    });
    if (count > 0) {
      facets.push_back({name, count});
    }
  }
  return byCountDescending(facets);
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

FacetSet plainFacets(const Rows& rows, const std::vector<std::string>& tags,
                     const std::vector<std::string>& labels) {
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
  facets.albums = countedNames(rows, tags, &ListedPhoto::tags);
  facets.labels = countedNames(rows, labels, &ListedPhoto::labels);
  for (const ListedPhoto& row : rows) {
    facets.noCameraCount += row.photo.cameraModel ? 0 : 1;
    facets.favorites += row.photo.favorite ? 1 : 0;
  }
  return facets;
}

TEST_F(FacetSetTest, CountsAreThoseOfAPlainSearch) {
  RandomLibrary library(connection_, 300, 11);
  const auto tags = names("SELECT name FROM Tag ORDER BY pk");
  const auto labels = names("SELECT name FROM Label ORDER BY pk");
  for (int round = 0; round < 200; ++round) {
    const PhotoFilter filter = round == 0 ? PhotoFilter() : library.randomFilter();
    const FacetSet expected = plainFacets(library.listed(filter, SortOrder::added), tags, labels);
    ASSERT_EQ(computeFacets(connection_, filter.predicate()), expected)
        << filter.predicate().gathering;
  }
}

TEST_F(FacetSetTest, OnlyTheFirstFortyNamesStay) {
  Photo photo;
  photo.id = "x";
  const std::int64_t pk = insertPhoto(connection_, photo);
  for (int i = 0; i < 50; ++i) {
    const std::string name = "tag " + std::to_string(99 - i);
    connection_.prepare("INSERT INTO Tag (name) VALUES (?)").bind(1, std::string_view(name)).step();
    connection_.prepare("INSERT INTO Photo_tags SELECT ?, pk FROM Tag WHERE name = ?")
        .bind(1, pk)
        .bind(2, std::string_view(name))
        .step();
  }
  const auto albums = computeFacets(connection_, predicates::shown()).albums;
  ASSERT_EQ(albums.size(), 40U);
  EXPECT_EQ(albums.front().value, "tag 99");  // ties in the order in which they came
  EXPECT_EQ(albums.back().value, "tag 60");
}

}  // namespace
}  // namespace vaultmere
