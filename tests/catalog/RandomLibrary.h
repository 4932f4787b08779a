// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "catalog/PhotoFilter.h"
#include "catalog/PhotoQueries.h"
#include "catalog/PhotoSchema.h"
#include "catalog/SizeClasses.h"
#include "catalog/TextFolding.h"
#include "tests/catalog/LibraryGenerator.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {

/// A store with the schema and no rows.
class EmptyStoreTest : public testing::Test {
 protected:
  EmptyStoreTest() : connection_(folder_ / "store.sqlite") { prepareSchema(connection_); }

  TemporaryFolder folder_;
  Connection connection_;
};

/// A library in memory and in the store, and the answers that the store has to
/// give, found by looking at every row.
class RandomLibrary {
 public:
  using Strings = std::vector<std::string>;

  /// `names`: how many tags, and how many labels.
  RandomLibrary(Connection& connection, int photos, unsigned seed, int names = 12)
      : random_(seed), generator_({photos, names, names, 0.3}, seed) {
    generator_.fill(connection, [&](LibraryRow row) { rows_.push_back(std::move(row)); });
  }

  [[nodiscard]] const LibraryGenerator& generator() const { return generator_; }

  /// Some of the values of some row, and now and then one that no row has.
  PhotoFilter randomFilter() {
    const LibraryRow& row = rows_[static_cast<std::size_t>(random_.below(int(rows_.size())))];
    PhotoFilter filter;
    const auto choose = [&](auto& field, const auto& value) {
      if (random_.chance(0.2)) {
        field = value;
      }
    };
    const auto chooseOne = [&](auto& field, const auto& values) {
      choose(field, random_.pick(values));
    };
    choose(filter.year, row.photo.year);
    choose(filter.mediaType, row.photo.mediaType);
    choose(filter.ext, row.photo.ext);
    choose(filter.color, row.photo.colorFamily);
    choose(filter.country, row.photo.placeCountry);
    choose(filter.camera, row.photo.cameraModel);
    choose(filter.noCamera, !row.photo.cameraModel);
    choose(filter.tag, row.tags.empty() ? "nobody has this" : generator_.tagName(row.tags.front()));
    choose(filter.label,
           row.labels.empty() ? "nobody has this" : generator_.labelName(row.labels.back()));
    chooseOne(filter.size, kSizes);
    chooseOne(filter.favorite, std::array{true, false, false});
    chooseOne(filter.q, kTexts);
    return filter;
  }

  /// The rows of the list, in its order.
  [[nodiscard]] std::vector<LibraryRow> listed(const PhotoFilter& filter, SortOrder sort) const {
    std::vector<LibraryRow> found;
    std::copy_if(rows_.begin(), rows_.end(), std::back_inserter(found),
                 [&](const LibraryRow& row) { return fits(row, filter); });
    const auto keys = [&](const Photo& photo) {
      // An absent optional is less than any other.
      return sort == SortOrder::added ? std::pair(photo.processedAt, photo.captureDate)
                                      : std::pair(photo.captureDate, photo.processedAt);
    };
    if (sort != SortOrder::oldest) {
      std::reverse(found.begin(), found.end());
    }
    std::stable_sort(found.begin(), found.end(), [&](const auto& a, const auto& b) {
      return sort == SortOrder::oldest ? keys(a.photo) < keys(b.photo)
                                       : keys(a.photo) > keys(b.photo);
    });
    return found;
  }

 private:
  static constexpr std::array<const char*, 5> kSizes{"<500 KB", "500 KB–1 MB", "1–2 MB", "50 MB+",
                                                     "no such size"};
  static constexpr std::array<const char*, 9> kTexts{"",      " \t", "\tecole ", "IMG", "a",
                                                     "ÉCOLE", "%",   "_",        "'"};

  [[nodiscard]] bool fits(const LibraryRow& row, const PhotoFilter& filter) const {
    const Photo& photo = row.photo;
    const auto is = [](const auto& wanted, const auto& value) {
      return !wanted || (value.has_value() && *wanted == *value);
    };
    const auto has = [](const std::optional<std::string>& wanted, const Strings& names) {
      return !wanted || std::find(names.begin(), names.end(), *wanted) != names.end();
    };
    const SizeClass* size = filter.size ? findSizeClass(*filter.size) : nullptr;
    const auto camera = filter.noCamera ? std::nullopt : filter.camera;
    if (photo.trashedAt || photo.stackedUnder || !is(filter.year, photo.year) ||
        !is(filter.mediaType, std::optional(photo.mediaType)) ||
        !is(filter.ext, std::optional(photo.ext)) || !is(filter.color, photo.colorFamily) ||
        !is(filter.country, photo.placeCountry) ||
        !is(filter.favorite, std::optional(photo.favorite)) ||
        (size != nullptr && (photo.sizeBytes < size->lower || photo.sizeBytes >= size->upper)) ||
        !is(camera, photo.cameraModel) || (filter.noCamera && photo.cameraModel)) {
      return false;
    }
    Strings tags, labels;
    for (const int tag : row.tags) {
      tags.push_back(generator_.tagName(tag));
    }
    for (const int label : row.labels) {
      labels.push_back(generator_.labelName(label));
    }
    return has(filter.tag, tags) && has(filter.label, labels) &&
           (isFound({photo.originalFilename}, filter.q) ||
            isFound({photo.caption.value_or("")}, filter.q) ||
            isFound({photo.placeName.value_or("")}, filter.q) || isFound(tags, filter.q) ||
            isFound(labels, filter.q));
  }

  static bool isFound(const Strings& texts, std::string_view q) {
    const auto start = std::min(q.find_first_not_of(" \t"), q.size());
    const std::string term = foldedText(q.substr(start, q.find_last_not_of(" \t") + 1 - start));
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
      return foldedText(text).find(term) != std::string::npos;
    });
  }

  DeterministicRandom random_;
  LibraryGenerator generator_;
  std::vector<LibraryRow> rows_;
};

}  // namespace vaultmere
