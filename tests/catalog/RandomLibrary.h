// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "catalog/PhotoFilter.h"
#include "catalog/PhotoQueries.h"
#include "catalog/PhotoSchema.h"
#include "catalog/SizeClasses.h"
#include "catalog/TextFolding.h"

namespace vaultmere {

/// A row with its relations, as a test knows it.
struct ListedPhoto {
  Photo photo;
  std::vector<std::string> tags;
  std::vector<std::string> labels;
};

/// Rows in which few values meet often, in memory and in the store, and the
/// answers that the store has to give, found by looking at every row.
class RandomLibrary {
 public:
  explicit RandomLibrary(unsigned seed) : random_(seed) {}

  void fill(Connection& connection, int count) {
    Transaction transaction(connection);
    for (int i = 0; i < count; ++i) {
      add(connection, randomPhoto(i));
    }
    transaction.commit();
  }

  PhotoFilter randomFilter() {
    PhotoFilter filter;
    const auto choose = [&](auto& field, const auto& values) {
      if (random_() % 5 == 0) {
        field = pick(values);
      }
    };
    choose(filter.year, std::array{2001, 2002, 1900});
    choose(filter.mediaType, kMedia);
    choose(filter.ext, kExts);
    choose(filter.color, kColours);
    choose(filter.country, kCountries);
    choose(filter.size, kSizes);
    choose(filter.favorite, std::array{true, false});
    choose(filter.tag, kNames);
    choose(filter.label, kNames);
    choose(filter.camera, kCameras);
    choose(filter.noCamera, std::array{true});
    choose(filter.q, std::array{"", " \t", "\tecole ", "IMG", "a", "ÉCOLE", "%", "_", "'"});
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
  static constexpr std::array kMedia{"image", "video", "live_photo"};
  static constexpr std::array kExts{".jpg", ".heic", ""};
  static constexpr std::array kColours{"Red", "Gray", "Plum"};
  static constexpr std::array kCountries{"France", "Ελλάδα", ""};
  static constexpr std::array kNames{"École", "b", "c", "d'e", "nobody has this"};
  static constexpr std::array kCameras{"H1", "H2"};
  static constexpr std::array kSizes{"<500 KB", "500 KB–1 MB", "50 MB+", "no such size"};

  template <typename Values>
  typename Values::value_type pick(const Values& values) {
    return values[random_() % values.size()];
  }

  template <typename Value, typename Values>
  void maybe(std::optional<Value>& field, const Values& values) {
    if (random_() % 4 != 0) {
      field = pick(values);
    }
  }

  ListedPhoto randomPhoto(int number) {
    ListedPhoto row;
    Photo& photo = row.photo;
    photo.id = std::to_string(number);
    photo.mediaType = pick(kMedia);
    photo.ext = pick(kExts);
    photo.originalFilename = pick(std::array{"IMG_1.jpg", "ecole.png", "x%y_z'.gif", ""});
    photo.sizeBytes =
        pick(std::array<std::int64_t, 6>{0, 511'999, 512'000, 1'048'575, 60'000'000, 1LL << 60});
    photo.favorite = random_() % 3 == 0;
    maybe(photo.processedAt, std::array{CatalogDate{1}, CatalogDate{2}, CatalogDate{3}});
    maybe(photo.captureDate, std::array{CatalogDate{-1}, CatalogDate{0}, CatalogDate{0.5}});
    maybe(photo.year, std::array{2001, 2002});
    maybe(photo.colorFamily, kColours);
    maybe(photo.placeCountry, kCountries);
    maybe(photo.placeName, std::array{"L’École", "Αθήνα", "Paris"});
    maybe(photo.caption, std::array{"a day", ""});
    maybe(photo.cameraModel, kCameras);
    if (random_() % 10 == 0) {
      photo.trashedAt = CatalogDate{9};
    }
    if (random_() % 10 == 0) {
      photo.stackedUnder = "1";
    }
    for (std::size_t i = 0; i + 1 < kNames.size(); ++i) {
      if (random_() % 4 == 0) {
        row.tags.emplace_back(kNames.at(i));
      }
      if (random_() % 3 == 0) {
        row.labels.emplace_back(kNames.at(i));
      }
    }
    return row;
  }

  void add(Connection& connection, ListedPhoto row) {
    const std::int64_t pk = insertPhoto(connection, row.photo);
    const auto link = [&](const char* name, const char* join, const auto& names) {
      for (const std::string& each : names) {
        connection.prepare(name).bind(1, std::string_view(each)).step();
        connection.prepare(join).bind(1, pk).bind(2, std::string_view(each)).step();
      }
    };
    link("INSERT OR IGNORE INTO Tag (name) VALUES (?)",
         "INSERT INTO Photo_tags SELECT ?, pk FROM Tag WHERE name = ?", row.tags);
    link("INSERT OR IGNORE INTO Label (name) VALUES (?)",
         "INSERT INTO Photo_labels SELECT ?, pk FROM Label WHERE name = ?", row.labels);
    rows_.push_back(std::move(row));
  }

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

  std::mt19937 random_;
  std::vector<ListedPhoto> rows_;
};

}  // namespace vaultmere
