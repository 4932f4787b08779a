// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/GalleryQueries.h"

#include <fmt/format.h>

#include "catalog/PhotoQueries.h"
#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

NamesOfPhotos namesOf(Connection& connection, const std::vector<Photo>& photos, const char* sql) {
  std::vector<std::string> ids;
  ids.reserve(photos.size());
  for (const Photo& photo : photos) {
    ids.push_back(photo.id);
  }
  NamesOfPhotos names(photos.size());
  auto rows = connection.prepare(sql);
  rows.bind(1, std::string_view(stringListText(ids)));
  while (rows.step()) {
    names.at(static_cast<std::size_t>(rows.integer(0))).push_back(rows.text(1));
  }
  return names;
}

/// Runs through the columns of the list's rows that fulfil the condition too.
template <typename Read>
void forEachRow(Connection& connection, const Predicate& list, std::int64_t matches,
                const char* columns, const char* condition, Read&& read) {
  const Predicate predicate = list && Predicate::onTable(condition);
  auto rows = connection.prepareOnce(fmt::format("SELECT {} FROM {} {}", columns,
                                                 photoSource(predicate, matches),
                                                 whereClause(predicate.gathering)));
  predicate.bindTo(rows);
  while (rows.step()) {
    read(rows);
  }
}

}  // namespace

NamesOfPhotos tagNames(Connection& connection, const std::vector<Photo>& photos) {
  return namesOf(connection, photos,
                 "SELECT wanted.key, Tag.name FROM json_each(?) AS wanted"
                 " CROSS JOIN Photo ON Photo.id = wanted.value"
                 " CROSS JOIN Photo_tags ON photo = Photo.pk JOIN Tag ON Tag.pk = tag");
}

NamesOfPhotos labelNames(Connection& connection, const std::vector<Photo>& photos) {
  return namesOf(connection, photos,
                 "SELECT wanted.key, Label.name FROM json_each(?) AS wanted"
                 " CROSS JOIN Photo ON Photo.id = wanted.value"
                 " CROSS JOIN Photo_labels ON photo = Photo.pk JOIN Label ON Label.pk = label");
}

void forEachColour(
    Connection& connection, const Predicate& list, std::int64_t matches,
    const std::function<void(const std::string& id, const std::string& hex)>& callback) {
  forEachRow(connection, list, matches, "id, avgHex", "avgHex IS NOT NULL",
             [&](const Statement& row) { callback(row.text(0), row.text(1)); });
}

void forEachPosition(
    Connection& connection, const Predicate& list, std::int64_t matches,
    const std::function<void(const std::string& id, double latitude, double longitude)>& callback) {
  forEachRow(connection, list, matches, "id, gpsLat, gpsLon",
             "gpsLat IS NOT NULL AND gpsLon IS NOT NULL",
             [&](const Statement& row) { callback(row.text(0), row.real(1), row.real(2)); });
}

ColourTotals colourTotals(Connection& connection) {
  // In one pass: each one through all rows costs as much as many queries of
  // indexes.
  constexpr const char* kColoured = "avgHex IS NOT NULL AND isBW = 0";
  const Predicate predicate =
      predicates::shown() && Predicate::onTable("(edited = 1 OR avgHex IS NOT NULL)");
  const auto row =
      aggregate(connection, predicate, 0,
                fmt::format("count(*) FILTER (WHERE edited = 1),"
                            " count(*) FILTER (WHERE avgHex IS NOT NULL AND isBW = 1),"
                            " count(avgR) FILTER (WHERE {0}), total(avgR) FILTER (WHERE {0}),"
                            " total(avgG) FILTER (WHERE {0}), total(avgB) FILTER (WHERE {0}),"
                            " tally(colorFamily) FILTER (WHERE {0})",
                            kColoured));
  return {row.integer(0), row.integer(1), row.integer(2),       row.real(3),
          row.real(4),    row.real(5),    talliedValues(row, 6)};
}

std::optional<CatalogDate> lastImport(Connection& connection) {
  auto row = connection.prepare("SELECT max(processedAt) FROM Photo");
  row.step();
  return row.isNull(0) ? std::nullopt : std::optional(CatalogDate{row.real(0)});
}

}  // namespace vaultmere
