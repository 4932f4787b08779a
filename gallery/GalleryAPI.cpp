// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryAPI.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "catalog/CatalogError.h"
#include "catalog/PhotoQueries.h"
#include "catalog/PhotoSchema.h"
#include "gallery/GalleryFilter.h"
#include "gallery/GalleryStats.h"
#include "gallery/PhotoDTOs.h"

namespace vaultmere {
namespace {

constexpr std::int64_t kPageSize = 60;
constexpr std::int64_t kMaxPage = 200;

using Names = std::vector<std::string>;

struct Page {
  std::int64_t number = 1;
  std::int64_t size = kPageSize;
  SortOrder sort = SortOrder::added;

  /// Absent when no number is so large.
  [[nodiscard]] std::optional<std::int64_t> offset() const {
    return number - 1 <= std::numeric_limits<std::int64_t>::max() / size
               ? std::optional((number - 1) * size)
               : std::nullopt;
  }
};

std::int64_t numberOf(const HttpQuery& query, const char* key, std::int64_t otherwise) {
  const auto found = query.find(key);
  return found == query.end() ? otherwise : integerOf(found->second).value_or(otherwise);
}

Page pageOf(const HttpQuery& query) {
  Page page;
  page.number = std::max<std::int64_t>(1, numberOf(query, "page", 1));
  page.size = std::clamp<std::int64_t>(numberOf(query, "page_size", kPageSize), 1, kMaxPage);
  if (const auto sort = query.find("sort"); sort != query.end()) {
    page.sort = sortOrderOf(sort->second).value_or(SortOrder::newest);
  }
  return page;
}

void separate(std::string& list) {
  if (list.back() != '[') {
    list += ',';
  }
}

/// The names that photos are linked with, in the order of the photos.
std::vector<Names> namesOf(Connection& connection, const std::vector<Photo>& photos,
                           const std::string& ids, const char* sql) {
  std::vector<Names> names(photos.size());
  auto rows = connection.prepare(sql);
  rows.bind(1, std::string_view(ids));
  while (rows.step()) {
    names.at(static_cast<std::size_t>(rows.integer(0))).push_back(rows.text(1));
  }
  return names;
}

std::string recordsOf(Connection& connection, const std::vector<Photo>& photos) {
  std::vector<std::string> ids;
  ids.reserve(photos.size());
  for (const Photo& photo : photos) {
    ids.push_back(photo.id);
  }
  const std::string list = stringListText(ids);
  auto tags = namesOf(connection, photos, list,
                      "SELECT wanted.key, Tag.name FROM json_each(?) AS wanted"
                      " CROSS JOIN Photo ON Photo.id = wanted.value"
                      " CROSS JOIN Photo_tags ON photo = Photo.pk JOIN Tag ON Tag.pk = tag");
  auto labels =
      namesOf(connection, photos, list,
              "SELECT wanted.key, Label.name FROM json_each(?) AS wanted"
              " CROSS JOIN Photo ON Photo.id = wanted.value"
              " CROSS JOIN Photo_labels ON photo = Photo.pk JOIN Label ON Label.pk = label");
  std::string records = "[";
  for (std::size_t i = 0; i < photos.size(); ++i) {
    separate(records);
    appendPhoto(records, photos[i], std::move(tags[i]), std::move(labels[i]));
  }
  return records += ']';
}

}  // namespace

std::optional<std::string> GalleryAPI::photos(const HttpQuery& query) {
  const Page page = pageOf(query);
  const auto offset = page.offset();
  if (!offset) {
    return std::nullopt;
  }
  std::int64_t total = 0;
  std::string items = "[]";
  try {
    const Predicate predicate = GalleryFilter::of(query).predicate();
    const Snapshot snapshot(connection_);
    total = totals_.of(connection_, predicate);
    if (*offset < total) {
      items = recordsOf(connection_,
                        fetchPage(connection_, predicate,
                                  {page.sort, *offset, static_cast<int>(page.size), total}));
    }
  } catch (const CatalogError&) {
    // Zero, or an empty list.
  }
  return fmt::format(R"({{"total":{},"page":{},"page_size":{},"items":{}}})", total, page.number,
                     page.size, items);
}

std::string GalleryAPI::stats() { return jsonText(galleryStats(connection_)); }

template <typename Append>
void GalleryAPI::appendRows(std::string& list, const HttpQuery& query, const char* columns,
                            const char* condition, Append&& append) {
  const std::size_t start = list.size();
  try {
    const Predicate filter = GalleryFilter::of(query).predicate();
    const Predicate predicate = filter && Predicate::onTable(condition);
    const std::int64_t matches = totals_.of(connection_, filter);
    auto rows = connection_.prepareOnce(fmt::format("SELECT {} FROM {} {}", columns,
                                                    photoSource(predicate, matches),
                                                    whereClause(predicate.gathering)));
    predicate.bindTo(rows);
    while (rows.step()) {
      append(rows);
    }
  } catch (const CatalogError&) {
    list.resize(start);
  }
}

std::string GalleryAPI::colours(const HttpQuery& query) {
  std::string text = "[";
  appendRows(text, query, "id, avgHex", "avgHex IS NOT NULL", [&](const Statement& row) {
    separate(text);
    appendColour(text, row.text(0), row.text(1));
  });
  return text += ']';
}

std::string GalleryAPI::geo(const HttpQuery& query) {
  std::string text = R"({"type":"FeatureCollection","features":[)";
  appendRows(text, query, "id, gpsLat, gpsLon", "gpsLat IS NOT NULL AND gpsLon IS NOT NULL",
             [&](const Statement& row) {
               const double latitude = row.real(1);
               const double longitude = row.real(2);
               if (std::isfinite(latitude) && std::isfinite(longitude)) {
                 separate(text);
                 appendFeature(text, row.text(0), latitude, longitude);
               }
             });
  return text += "]}";
}

}  // namespace vaultmere
