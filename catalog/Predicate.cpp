// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/Predicate.h"

#include <fmt/format.h>

#include "catalog/SizeClasses.h"
#include "catalog/TextFolding.h"

namespace vaultmere {
namespace {

using AccessPath = Predicate::AccessPath;

Predicate onColumns(AccessPath access, const char* sql,
                    std::vector<Predicate::Argument> arguments) {
  Predicate predicate;
  predicate.gathering = predicate.perRow = sql;
  predicate.arguments = std::move(arguments);
  predicate.access = access;
  return predicate;
}

Predicate onIndex(const char* index, bool isInCaptureOrder, const char* sql,
                  std::vector<Predicate::Argument> arguments) {
  Predicate predicate = onColumns(AccessPath::index, sql, std::move(arguments));
  predicate.index = index;
  predicate.isInCaptureOrder = isInCaptureOrder;
  return predicate;
}

Predicate linked(const char* gathering, const char* perRow, std::string_view name) {
  Predicate predicate = onColumns(AccessPath::links, gathering, {std::string(name)});
  predicate.perRow = perRow;
  return predicate;
}

std::string joined(const std::string& left, const std::string& right) {
  if (left.empty() || right.empty()) {
    return left + right;
  }
  return fmt::format("{} AND {}", left, right);
}

}  // namespace

Predicate Predicate::onTable(const char* sql, std::vector<Argument> arguments) {
  return onColumns(AccessPath::table, sql, std::move(arguments));
}

int Predicate::bindTo(Statement& statement, int first) const {
  int parameter = first;
  for (const Argument& argument : arguments) {
    if (const auto* text = std::get_if<std::string>(&argument)) {
      statement.bind(parameter, std::string_view(*text));
    } else if (const auto* real = std::get_if<double>(&argument)) {
      statement.bind(parameter, *real);
    } else {
      statement.bind(parameter, std::get<std::int64_t>(argument));
    }
    ++parameter;
  }
  return parameter;
}

Predicate operator&&(const Predicate& left, const Predicate& right) {
  // The access that leads to fewer rows. Two ranges of different indexes can't
  // be had at once, but an index of a sort has the columns of both.
  const bool areRanges = left.access == AccessPath::index && right.access == AccessPath::index &&
                         std::string_view(left.index) != right.index;
  Predicate both = left.access > right.access ? left : right;
  if (areRanges) {
    both.access = AccessPath::anywhere;
    both.index = nullptr;
    both.isInCaptureOrder = false;
  }
  both.gathering = joined(left.gathering, right.gathering);
  both.perRow = joined(left.perRow, right.perRow);
  both.arguments = left.arguments;
  both.arguments.insert(both.arguments.end(), right.arguments.begin(), right.arguments.end());
  both.isShown = left.isShown || right.isShown;
  return both;
}

namespace predicates {

Predicate shown() {
  Predicate predicate =
      onColumns(AccessPath::anywhere, "trashedAt IS NULL AND stackedUnder IS NULL", {});
  predicate.isShown = true;
  return predicate;
}

Predicate year(int year) { return onIndex("shownByYear", true, "year = ?", {std::int64_t{year}}); }

Predicate mediaType(std::string_view type) {
  return onIndex("allByMediaType", true, "mediaType = ?", {std::string(type)});
}

Predicate ext(std::string_view ext) {
  return onIndex("shownByExt", true, "ext = ?", {std::string(ext)});
}

Predicate colour(std::string_view family) {
  return onIndex("shownByColor", true, "colorFamily = ?", {std::string(family)});
}

Predicate country(std::string_view country) {
  return onIndex("shownByCountry", true, "placeCountry = ?", {std::string(country)});
}

Predicate favourite(bool favourite) {
  // Not bound: only a constant shows the store that a partial index will do.
  return favourite ? onIndex("shownFavorites", true, "favorite = 1", {})
                   : onColumns(AccessPath::anywhere, "favorite = 0", {});
}

Predicate size(std::string_view label) {
  const SizeClass* size = findSizeClass(label);
  if (size == nullptr) {
    return {};
  }
  return onIndex("shownBySize", false, "sizeBytes >= ? AND sizeBytes < ?",
                 {size->lower, size->upper});
}

Predicate tag(std::string_view name) {
  return linked(
      "pk IN (SELECT photo FROM Photo_tags WHERE tag = (SELECT pk FROM Tag WHERE name = ?))",
      "EXISTS (SELECT 1 FROM Photo_tags WHERE photo = Photo.pk"
      " AND tag = (SELECT pk FROM Tag WHERE name = ?))",
      name);
}

Predicate label(std::string_view name) {
  return linked(
      "pk IN (SELECT photo FROM Photo_labels WHERE label = (SELECT pk FROM Label WHERE name = ?))",
      "EXISTS (SELECT 1 FROM Photo_labels WHERE photo = Photo.pk"
      " AND label = (SELECT pk FROM Label WHERE name = ?))",
      name);
}

Predicate camera(std::string_view model) {
  return onIndex("shownByCamera", true, "cameraModel = ?", {std::string(model)});
}

Predicate noCamera() { return onIndex("shownByCamera", true, "cameraModel IS NULL", {}); }

Predicate capturedFrom(CatalogDate date) {
  return onIndex("shownByCapture", true, "captureDate >= ?", {date.seconds});
}

Predicate capturedUntil(CatalogDate date) {
  return onIndex("shownByCapture", true, "captureDate <= ?", {date.seconds});
}

Predicate search(std::string_view text) {
  const std::string term = foldedText(text);
  if (term.empty()) {
    return {};
  }
  return onColumns(AccessPath::texts,
                   "(linked_name_contains(?, pk)"
                   " OR contains_folded(?, originalFilename, caption, placeName))",
                   {term, term});
}

}  // namespace predicates

}  // namespace vaultmere
