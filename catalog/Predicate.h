// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "catalog/CatalogDate.h"
#include "catalog/Connection.h"

namespace vaultmere {

/// A condition on the rows of `Photo`: a value, whose parts never come from
/// outside but through `arguments`. Join two with `&&`. An empty one holds for
/// every row.
struct Predicate {
  using Argument = std::variant<std::int64_t, double, std::string>;

  /// Where the rows that fulfil the condition are best looked for.
  enum class AccessPath {
    anywhere,  ///< the condition holds back too little to be a help
    table,     ///< in the rows themselves: no index has all of its columns
    index,     ///< in `index`, one range of it
    texts,     ///< in the index of the searched texts
    links,     ///< in a link table
  };

  /// The condition as one whose rows are gathered, and as one that is put to
  /// row after row. Both take `arguments`, one for each "?".
  std::string gathering;
  std::string perRow;
  std::vector<Argument> arguments;

  AccessPath access = AccessPath::anywhere;
  const char* index = nullptr;
  /// The rows of `index` range stand in the order of capture.
  bool isInCaptureOrder = false;
  /// Implies `shown`, so that the indexes over shown rows have all the rows.
  bool isShown = false;

  /// A condition on the row's own columns, such as "avgHex IS NOT NULL".
  [[nodiscard]] static Predicate onTable(const char* sql, std::vector<Argument> arguments = {});

  /// Binds the arguments to the parameters from `first` on; gives the number
  /// of the next parameter.
  int bindTo(Statement& statement, int first = 1) const;
};

[[nodiscard]] Predicate operator&&(const Predicate& left, const Predicate& right);

/// The conditions that lists are made of.
namespace predicates {

/// The base of every list: neither trashed nor below a stack.
[[nodiscard]] Predicate shown();
[[nodiscard]] Predicate year(int year);
[[nodiscard]] Predicate mediaType(std::string_view type);
[[nodiscard]] Predicate ext(std::string_view ext);
[[nodiscard]] Predicate colour(std::string_view family);
[[nodiscard]] Predicate country(std::string_view country);
[[nodiscard]] Predicate favourite(bool favourite);
/// The label of a size class; any other holds for every row.
[[nodiscard]] Predicate size(std::string_view label);
[[nodiscard]] Predicate tag(std::string_view name);
[[nodiscard]] Predicate label(std::string_view name);
[[nodiscard]] Predicate camera(std::string_view model);
[[nodiscard]] Predicate noCamera();
/// `captureDate` at or after, at or before.
[[nodiscard]] Predicate capturedFrom(CatalogDate date);
[[nodiscard]] Predicate capturedUntil(CatalogDate date);
/// File name, caption, place, a tag or a label contains the text; case and
/// diacritics make no difference. A text without anything to look for, empty
/// or of diacritics alone, holds for every row.
[[nodiscard]] Predicate search(std::string_view text);

}  // namespace predicates

}  // namespace vaultmere
