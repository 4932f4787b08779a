// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/PhotoQueries.h"

#include <fmt/format.h>

#include <array>

#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

using AccessPath = Predicate::AccessPath;

// A page is read in one of two ways: all matching rows are gathered and sorted,
// or the index of the sort is walked until enough rows match. Gathering takes
// time proportional to the matches, walking the less time the more rows match.
// From these numbers of matches on a page is walked. Gathering from an index of
// its own costs least a row, looking rows up by their keys much more, and a
// search costs the same whatever it finds.
constexpr std::int64_t kWalkFromIndex = 40'000;
constexpr std::int64_t kWalkFromLinks = 15'000;
constexpr std::int64_t kWalkFromTexts = 150'000;
// From this number of matches on the index of all rows is scanned instead of
// looking up each row.
constexpr std::int64_t kManyRows = 30'000;

struct Sort {
  std::string_view name;
  const char* keys;
  const char* index;
};
constexpr std::array kSorts{
    Sort{"added", "processedAt DESC, captureDate DESC, pk DESC", "shownByAdded"},
    Sort{"newest", "captureDate DESC, processedAt DESC, pk DESC", "shownByCapture"},
    Sort{"oldest", "captureDate, processedAt, pk", "shownByCapture"},
};

const Sort& tableEntry(SortOrder sort) { return kSorts.at(static_cast<std::size_t>(sort)); }

std::string indexed(const char* index) { return fmt::format("Photo INDEXED BY {}", index); }

bool isWalked(const Predicate& predicate, const PageRequest& request) {
  switch (predicate.access) {
    case AccessPath::anywhere:
    case AccessPath::table:
      return true;
    case AccessPath::index: {
      const bool isInOrder = predicate.isInCaptureOrder && request.sort != SortOrder::added;
      return !isInOrder && request.matches >= kWalkFromIndex;
    }
    case AccessPath::links:
      return request.matches >= kWalkFromLinks;
    case AccessPath::texts:
      return request.matches >= kWalkFromTexts;
  }
  return true;
}

/// The keys of a page's rows, as a query with the parameters of the predicate,
/// the limit and the offset.
std::string keysOfPage(const Predicate& predicate, const PageRequest& request) {
  const Sort& sort = tableEntry(request.sort);
  const bool walks = predicate.isShown && isWalked(predicate, request);
  return fmt::format("SELECT pk AS found FROM {} {} ORDER BY {} LIMIT ? OFFSET ?",
                     walks ? indexed(sort.index) : photoSource(predicate, 0, true),
                     whereClause(walks ? predicate.perRow : predicate.gathering), sort.keys);
}

}  // namespace

std::string_view sortOrderName(SortOrder sort) { return tableEntry(sort).name; }

std::optional<SortOrder> sortOrderOf(std::string_view name) {
  for (const SortOrder sort : {SortOrder::added, SortOrder::newest, SortOrder::oldest}) {
    if (sortOrderName(sort) == name) {
      return sort;
    }
  }
  return std::nullopt;
}

std::string whereClause(std::string_view condition) {
  return condition.empty() ? std::string() : fmt::format("WHERE {}", condition);
}

std::string photoSource(const Predicate& predicate, std::int64_t matches, bool isCounting) {
  if (!predicate.isShown) {
    return "Photo";  // the partial indexes don't have all rows
  }
  switch (predicate.access) {
    case AccessPath::anywhere:
      return indexed("shownByAdded");
    case AccessPath::table:
      return "Photo NOT INDEXED";
    case AccessPath::index:
      return indexed(isCounting || matches < kManyRows ? predicate.index : "shownByAdded");
    case AccessPath::links:  // by key; the rest of the condition is looked up
      return matches < kManyRows ? "Photo NOT INDEXED" : indexed("shownByAdded");
    case AccessPath::texts:
      return indexed("shownTexts");
  }
  return "Photo";
}

std::int64_t countPhotos(Connection& connection, const Predicate& predicate) {
  auto rows = connection.prepareOnce(fmt::format("SELECT count(*) FROM {} {}",
                                                 photoSource(predicate, 0, true),
                                                 whereClause(predicate.gathering)));
  predicate.bindTo(rows);
  rows.step();
  return rows.integer(0);
}

std::vector<Photo> fetchPage(Connection& connection, const Predicate& predicate,
                             const PageRequest& request) {
  // Whole rows are read for the page alone, not for what is skipped.
  const std::string sql =
      fmt::format("SELECT {} FROM ({}) CROSS JOIN Photo ON pk = found ORDER BY {}", photoColumns(),
                  keysOfPage(predicate, request), tableEntry(request.sort).keys);
  // Statements without the user's values have few forms: they are kept.
  auto rows = predicate.arguments.empty() ? connection.prepare(sql) : connection.prepareOnce(sql);
  const int next = predicate.bindTo(rows);
  rows.bind(next, request.limit).bind(next + 1, request.offset);
  std::vector<Photo> page;
  while (rows.step()) {
    page.push_back(photoFromRow(rows));
  }
  return page;
}

std::vector<Photo> fetchPhotos(Connection& connection, std::span<const std::string> ids) {
  static const std::string sql = fmt::format("SELECT {} FROM Photo WHERE id = ?", photoColumns());
  std::vector<Photo> photos;
  for (const std::string& id : ids) {
    auto rows = connection.prepare(sql);
    rows.bind(1, std::string_view(id));
    if (rows.step()) {
      photos.push_back(photoFromRow(rows));
    }
  }
  return photos;
}

}  // namespace vaultmere
