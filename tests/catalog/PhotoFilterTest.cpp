// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "catalog/CatalogError.h"
#include "catalog/FacetSet.h"
#include "catalog/PhotoFilter.h"
#include "tests/catalog/RandomLibrary.h"

namespace vaultmere {
namespace {

constexpr std::array kSorts{SortOrder::added, SortOrder::newest, SortOrder::oldest};

using PhotoFilterTest = EmptyStoreTest;

bool areEqual(const std::vector<Photo>& photos, const std::vector<LibraryRow>& rows) {
  return std::equal(photos.begin(), photos.end(), rows.begin(), rows.end(),
                    [](const Photo& photo, const LibraryRow& row) { return photo == row.photo; });
}

// Each access path finds the rows that a test of every row finds, with all their values.
TEST_F(PhotoFilterTest, FetchesAndCountsWhatAPlainSearchFinds) {
  RandomLibrary library(connection_, 400, 7);
  for (int round = 0; round < 300; ++round) {
    const PhotoFilter filter = library.randomFilter();
    const Predicate predicate = filter.predicate();
    for (const SortOrder sort : kSorts) {
      const auto expected = library.listed(filter, sort);
      ASSERT_EQ(countPhotos(connection_, predicate), std::int64_t(expected.size()))
          << predicate.gathering;
      for (const std::int64_t matches : {std::int64_t{0}, std::int64_t{1'000'000}}) {
        std::vector<Photo> found;
        for (std::size_t fetched = 37; fetched == 37;) {
          const auto page =
              fetchPage(connection_, predicate, {sort, std::int64_t(found.size()), 37, matches});
          found.insert(found.end(), page.begin(), page.end());
          fetched = page.size();
        }
        ASSERT_TRUE(areEqual(found, expected))
            << predicate.gathering << sortOrderName(sort) << matches;
      }
    }
  }
}

// Enough rows for the photos of all matching names to be collected.
TEST_F(PhotoFilterTest, SearchesManyRowsAsAPlainSearchDoes) {
  RandomLibrary library(connection_, 5000, 5);
  for (const char* q : {"ecole", "label", "el 12", "IMG", "nobody"}) {
    PhotoFilter filter;
    filter.q = q;
    EXPECT_TRUE(areEqual(fetchPage(connection_, filter.predicate(), {SortOrder::added, 0, 5000, 0}),
                         library.listed(filter, SortOrder::added)))
        << q;
  }
}

TEST_F(PhotoFilterTest, FindsTrashedAndStackedRowsWithoutTheBaseCondition) {
  (void)RandomLibrary(connection_, 400, 3);
  EXPECT_EQ(countPhotos(connection_, {}), 400);
  EXPECT_EQ(fetchPage(connection_, {}, {SortOrder::newest, 0, 500, 400}).size(), 400U);
  const Predicate dated = predicates::capturedFrom({0}) && predicates::capturedUntil({6e8}) &&
                          Predicate::onTable("id <> ?", {std::string("none")});
  const auto all = fetchPage(connection_, dated, {SortOrder::oldest, 0, 500, 400});
  EXPECT_LT(all.size(), 400U);
  const auto shown =
      fetchPage(connection_, predicates::shown() && dated, {SortOrder::oldest, 0, 500, 400});
  EXPECT_LT(shown.size(), all.size());
  EXPECT_EQ(std::int64_t(shown.size()),
            std::count_if(all.begin(), all.end(), [](const Photo& photo) {
              return !photo.trashedAt && !photo.stackedUnder;
            }));
}

TEST_F(PhotoFilterTest, BindsHostileValuesInsteadOfQuotingThem) {
  (void)RandomLibrary(connection_, 10, 3);
  const std::string hostile = "x' OR 1=1; DROP TABLE Photo; --";
  PhotoFilter filter;
  filter.mediaType = filter.ext = filter.color = filter.country = filter.size = hostile;
  filter.tag = filter.label = filter.camera = filter.q = hostile;
  EXPECT_EQ(countPhotos(connection_, filter.predicate()), 0);
  EXPECT_EQ(filter.predicate().gathering.find("DROP"), std::string::npos);
  EXPECT_EQ(countPhotos(connection_, {}), 10);
}

TEST(PhotoFilter, IsActiveWithAnyFieldButBlanks) {
  PhotoFilter filter;
  EXPECT_FALSE(filter.isActive());
  filter.q = " \t ";
  EXPECT_FALSE(filter.isActive());
  EXPECT_EQ(filter.predicate().gathering, predicates::shown().gathering);
  filter.tag = "";
  EXPECT_TRUE(filter.isActive());
  filter = {};
  filter.noCamera = true;
  EXPECT_TRUE(filter.isActive());
  PhotoFilter both = filter;
  both.camera = "X";
  EXPECT_EQ(both.predicate().gathering, filter.predicate().gathering);
  EXPECT_TRUE(both.predicate().arguments.empty());
}

TEST(TextFolding, IgnoresCaseAndDiacritics) {
  struct Case {
    const char* text;
    const char* term;
    bool isFound;
  };
  for (const Case& c :
       {Case{"École normale", "ecole", true}, Case{"ecole", "ÉCOLE", true},
        Case{"E\u0301cole", "école", true}, Case{"Straße", "STRASSE", true},
        Case{"İstanbul", "istanbul", true}, Case{"ΑΘΉΝΑ", "αθηνα", true},
        Case{"Москва", "МОСКВА", true}, Case{"ﬁsh", "fi", true}, Case{"ＩＭＧ", "img", true},
        Case{"각", "가", false}, Case{"東京都", "京都", true}, Case{"IMG_0001.JPG", "g_00", true},
        Case{"a%b", "%", true}, Case{"ab", "%", false}, Case{"o", "ø", false}, Case{"", "a", false},
        Case{"a\xFF", "a\uFFFD", true}, Case{"anything", "\u0301", true}}) {
    EXPECT_EQ(foldedContains(c.text, foldedText(c.term)), c.isFound) << c.text << " " << c.term;
  }
  const std::string longText = std::string(5000, 'x') + "NEEDLE";
  EXPECT_TRUE(foldedContains(longText, "needle"));
}

TEST(SizeClasses, HaveNoGapsOrOverlaps) {
  std::int64_t end = 0;
  for (const SizeClass& size : sizeClasses()) {
    EXPECT_EQ(size.lower, end) << size.label;
    end = size.upper;
  }
  EXPECT_EQ(findSizeClass("500 KB–1 MB")->lower, 512'000);
  EXPECT_EQ(findSizeClass("500 KB-1 MB"), nullptr);
}

TEST_F(PhotoFilterTest, KeepsTheConnectionUsableAfterAStop) {
  (void)RandomLibrary(connection_, 400, 3);
  std::stop_source stop;
  stop.request_stop();
  {
    const Interruptible interruptible(connection_, stop.get_token());
    EXPECT_THROW((void)computeFacets(connection_, predicates::shown()), CatalogError);
    EXPECT_THROW((void)countPhotos(connection_, predicates::search("e")), CatalogError);
  }
  EXPECT_GT(computeFacets(connection_, predicates::shown()).total, 0);
}

}  // namespace
}  // namespace vaultmere
