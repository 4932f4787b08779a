// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryAPI.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "catalog/GalleryQueries.h"
#include "catalog/PhotoQueries.h"
#include "gallery/GalleryFilter.h"
#include "gallery/GalleryStats.h"
#include "gallery/PhotoDTOs.h"

namespace vaultmere {
namespace {

constexpr std::int64_t kPageSize = 60;
constexpr std::int64_t kMaxPage = 200;

struct Page {
  std::int64_t number = 1;
  std::int64_t size = kPageSize;
  SortOrder sort = SortOrder::added;

  /// Absent when it doesn't fit.
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

std::string recordsOf(Connection& connection, const std::vector<Photo>& photos) {
  NamesOfPhotos tags = tagNames(connection, photos);
  NamesOfPhotos labels = labelNames(connection, photos);
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
  (void)read_([&](CatalogReader& reader) {
    const Predicate predicate = GalleryFilter::of(query).predicate();
    const Snapshot snapshot(reader.connection);
    total = reader.counts.count(reader.connection, predicate);
    if (*offset < total) {
      items = recordsOf(reader.connection,
                        fetchPage(reader.connection, predicate,
                                  {page.sort, *offset, static_cast<int>(page.size), total}));
    }
  });
  return fmt::format(R"({{"total":{},"page":{},"page_size":{},"items":{}}})", total, page.number,
                     page.size, items);
}

GalleryAPI::Statistics GalleryAPI::stats() {
  Json record = emptyStats();
  const bool isComplete =
      read_([&](CatalogReader& reader) { record = galleryStats(reader.connection); });
  return {jsonText(record), isComplete};
}

std::string GalleryAPI::colours(const HttpQuery& query) {
  std::string list;
  const bool isComplete = read_([&](CatalogReader& reader) {
    const Predicate filter = GalleryFilter::of(query).predicate();
    list = "[";
    forEachColour(reader.connection, filter, reader.counts.count(reader.connection, filter),
                  [&](const std::string& id, const std::string& hex) {
                    separate(list);
                    appendColour(list, id, hex);
                  });
  });
  return isComplete ? list += ']' : "[]";
}

std::string GalleryAPI::geo(const HttpQuery& query) {
  constexpr const char* kStart = R"({"type":"FeatureCollection","features":[)";
  std::string collection;
  const bool isComplete = read_([&](CatalogReader& reader) {
    const Predicate filter = GalleryFilter::of(query).predicate();
    collection = kStart;
    forEachPosition(reader.connection, filter, reader.counts.count(reader.connection, filter),
                    [&](const std::string& id, double latitude, double longitude) {
                      if (std::isfinite(latitude) && std::isfinite(longitude)) {
                        separate(collection);
                        appendFeature(collection, id, latitude, longitude);
                      }
                    });
  });
  return (isComplete ? collection : kStart) + "]}";
}

}  // namespace vaultmere
