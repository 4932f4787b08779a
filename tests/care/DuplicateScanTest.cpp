// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "care/DuplicateScan.h"
#include "catalog/PhotoSchema.h"
#include "catalog/SchemaSteps.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

DatedPhoto photo(const char* id, const char* ext, int width, int height,
                 const char* type = "image") {
  DatedPhoto photo;
  photo.id = id;
  photo.ext = ext;
  photo.captureDate = {636112272};
  photo.width = width;
  photo.height = height;
  photo.mediaType = type;
  return photo;
}

std::string textOf(const std::vector<DuplicateGroup>& groups) {
  std::string text;
  for (const DuplicateGroup& group : groups) {
    text += text.empty() ? "" : "; ";
    text += group.id + " " + std::string(duplicateKindText(group.kind)) + " " +
            std::to_string(group.width) + "x" + std::to_string(group.height) + ":";
    for (const auto& member : group.members) {
      text += " " + member.id;
    }
  }
  return text;
}

TEST(DuplicateScan, GroupsThePhotosOfOneInstant) {
  const struct {
    const char* name;
    std::vector<DatedPhoto> photos;
    const char* groups;
  } rows[] = {
      {"one", {photo("a", ".jpg", 4, 3)}, ""},
      {"RAW and a smaller rendering",
       {photo("a", ".jpg", 4, 3), photo("b", ".dng", 8, 6)},
       "raw|636112272.0 RAW + rendered 8x6: b a"},
      {"with a video",
       {photo("a", ".jpg", 4, 3), photo("b", ".dng", 8, 6), photo("c", ".mov", 1, 1, "video")},
       "raw|636112272.0 RAW + rendered 8x6: b a c"},
      {"two RAW formats",
       {photo("a", ".dng", 4, 3), photo("b", ".cr2", 4, 3)},
       "636112272.0|4x3 RAW + rendered 4x3: a b"},
      {"one RAW format",
       {photo("a", ".dng", 4, 3), photo("b", ".dng", 4, 3)},
       "636112272.0|4x3 Re-encoded 4x3: a b"},
      {"an extension in capitals isn't RAW",
       {photo("a", ".DNG", 4, 3), photo("b", ".jpg", 4, 3)},
       "636112272.0|4x3 Format pair 4x3: a b"},
      {"RAW and a video only",
       {photo("a", ".dng", 4, 3), photo("b", ".mov", 4, 3, "video")},
       "636112272.0|4x3 RAW + rendered 4x3: a b"},
      {"picture and video of one size",
       {photo("a", ".jpg", 4, 3), photo("b", ".mov", 4, 3, "video")},
       "636112272.0|4x3 Format pair 4x3: a b"},
      {"picture and video of two sizes",
       {photo("a", ".jpg", 4, 3), photo("b", ".mov", 3, 4, "video")},
       ""},
      {"videos of two formats",
       {photo("a", ".mp4", 4, 3, "video"), photo("b", ".mov", 4, 3, "video")},
       "636112272.0|4x3 Video 4x3: a b"},
      {"two sizes and one alone",
       {photo("a", ".jpg", 4, 3), photo("b", ".jpg", 8, 6), photo("c", ".jpg", 4, 3),
        photo("d", ".heic", 8, 6), photo("e", ".jpg", 3, 4)},
       "636112272.0|4x3 Re-encoded 4x3: a c; 636112272.0|8x6 Format pair 8x6: d b"},
      {"equal pixels: the earliest row's size",
       {photo("a", ".jpg", 2, 6), photo("b", ".dng", 4, 3)},
       "raw|636112272.0 RAW + rendered 2x6: b a"},
      {"absurd sizes",
       {photo("a", "", -4, 3), photo("b", ".", -4, 3)},
       "636112272.0|-4x3 Format pair -4x3: a b"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(textOf(groupsOfInstant(row.photos)), row.groups) << row.name;
  }
}

TEST(DuplicateScan, TextsOfInstantsReadBackAsTheSameBits) {
  const struct {
    double seconds;
    const char* text;
  } rows[] = {
      {636112272, "636112272.0"},
      {636112272.25, "636112272.25"},
      {0.1 + 0.2, "0.30000000000000004"},
      {0, "0.0"},
      {-978307200, "-978307200.0"},
      {0.0001, "0.0001"},
      {9999999999999998, "9999999999999998.0"},
      {1e16, "1e+16"},
      {5e-5, "5e-05"},
      {-std::numeric_limits<double>::max(), "-1.7976931348623157e+308"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(instantText({row.seconds}), row.text);
    EXPECT_EQ(std::strtod(row.text, nullptr), row.seconds);
  }
}

TEST(DuplicateScan, ReadsTheCatalogByExactInstants) {
  const TemporaryFolder folder;
  Connection store(folder / "store");
  prepareSchema(store);
  EXPECT_EQ(textOf(scanDuplicates(store)), "");
  int made = 0;
  const auto add = [&](std::optional<double> seconds, std::optional<int> width = 4,
                       bool isTrashed = false) {
    Photo row;
    row.id = std::string(1, static_cast<char>('a' + made++));
    row.ext = ".jpg";
    row.width = width;
    row.height = 3;
    if (seconds) row.captureDate = CatalogDate{*seconds};
    if (isTrashed) row.trashedAt = CatalogDate{1};
    insertPhoto(store, row);
  };
  const double next = std::nextafter(100.0, 101.0);
  for (const double seconds : {100.0, next, 200.0, 100.0, 300.5, 200.0}) {
    add(seconds);
  }
  add(next, 4, true);
  add(300.5, std::nullopt);
  add(std::nullopt);
  add(std::nullopt);
  EXPECT_EQ(textOf(scanDuplicates(store)),
            "200.0|4x3 Re-encoded 4x3: c f; 100.0|4x3 Re-encoded 4x3: a d");
}

}  // namespace
}  // namespace vaultmere
