// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

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

namespace vaultmere {

/// A row with its relations, as a test knows it.
struct ListedPhoto {
  Photo photo;
  std::vector<std::string> tags;
  std::vector<std::string> labels;
};

/// A library in memory and in the store, and the answers that the store has to
/// give, found by looking at every row.
class RandomLibrary {
 public:
  RandomLibrary(Connection& connection, int photos, unsigned seed) : random_(seed) {
    LibraryGenerator generator({photos, kNames, kNames, 0.3}, seed);
    const auto namesOf = [](const std::vector<int>& numbers, const auto& name) {
      std::vector<std::string> names(numbers.size());
      std::transform(numbers.begin(), numbers.end(), names.begin(), name);
      return names;
    };
    generator.fill(connection, [&](const LibraryRow& row) {
      rows_.push_back({row.photo,
                       namesOf(row.tags, [&](int tag) { return generator.tagName(tag); }),
                       namesOf(row.labels, [&](int label) { return generator.labelName(label); })});
    });
  }

  /// Some of the values of some row, and now and then one that no row has.
  PhotoFilter randomFilter() {
    const ListedPhoto& row = rows_[static_cast<std::size_t>(random_.below(int(rows_.size())))];
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
    choose(filter.tag, row.tags.empty() ? "nobody has this" : row.tags.front());
    choose(filter.label, row.labels.empty() ? "nobody has this" : row.labels.back());
    chooseOne(filter.size, kSizes);
    chooseOne(filter.favorite, std::array{true, false, false});
    chooseOne(filter.q, kTexts);
    return filter;
  }

  /// The rows of the list, in its order.
  [[nodiscard]] std::vector<ListedPhoto> listed(const PhotoFilter& filter, SortOrder sort) const {
    std::vector<ListedPhoto> found;
    std::copy_if(rows_.begin(), rows_.end(), std::back_inserter(found),
                 [&](const ListedPhoto& row) { return fits(row, filter); });
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
  static constexpr int kNames = 12;  ///< of tags, and of labels
  static constexpr std::array<const char*, 5> kSizes{"<500 KB", "500 KB–1 MB", "1–2 MB", "50 MB+",
                                                     "no such size"};
  static constexpr std::array<const char*, 9> kTexts{"",      " \t", "\tecole ", "IMG", "a",
                                                     "ÉCOLE", "%",   "_",        "'"};

  static bool fits(const ListedPhoto& row, const PhotoFilter& filter) {
    const Photo& photo = row.photo;
    const auto is = [](const auto& wanted, const auto& value) {
      return !wanted || (value.has_value() && *wanted == *value);
    };
    const auto has = [](const std::optional<std::string>& wanted, const auto& names) {
      return !wanted || std::find(names.begin(), names.end(), *wanted) != names.end();
    };
    const SizeClass* size = filter.size ? findSizeClass(*filter.size) : nullptr;
    const auto camera = filter.noCamera ? std::nullopt : filter.camera;
    return !photo.trashedAt && !photo.stackedUnder && is(filter.year, photo.year) &&
           is(filter.mediaType, std::optional(photo.mediaType)) &&
           is(filter.ext, std::optional(photo.ext)) && is(filter.color, photo.colorFamily) &&
           is(filter.country, photo.placeCountry) &&
           is(filter.favorite, std::optional(photo.favorite)) &&
           (size == nullptr || (photo.sizeBytes >= size->lower && photo.sizeBytes < size->upper)) &&
           has(filter.tag, row.tags) && has(filter.label, row.labels) &&
           is(camera, photo.cameraModel) && !(filter.noCamera && photo.cameraModel) &&
           isFound(row, filter.q);
  }

  static bool isFound(const ListedPhoto& row, std::string_view q) {
    while (!q.empty() && (q.front() == ' ' || q.front() == '\t')) {
      q.remove_prefix(1);
    }
    while (!q.empty() && (q.back() == ' ' || q.back() == '\t')) {
      q.remove_suffix(1);
    }
    std::vector<std::string> texts{row.photo.originalFilename, row.photo.caption.value_or(""),
                                   row.photo.placeName.value_or("")};
    texts.insert(texts.end(), row.tags.begin(), row.tags.end());
    texts.insert(texts.end(), row.labels.begin(), row.labels.end());
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
      return foldedText(text).find(foldedText(q)) != std::string::npos;
    });
  }

  DeterministicRandom random_;
  std::vector<ListedPhoto> rows_;
};

}  // namespace vaultmere
