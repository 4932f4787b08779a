// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

namespace vaultmere::bench {

/// One row of a catalog as the store's own values, with its links.
struct BareRow {
  using Value = std::variant<std::monostate, std::int64_t, double, std::string>;
  std::vector<Value> values;  ///< in the order of the columns of `Photo`, without the key
  std::vector<std::string> tags;
  std::vector<std::string> labels;
  bool operator==(const BareRow&) const = default;
};

/// All rows of a catalog, in the order of their keys.
[[nodiscard]] std::vector<BareRow> bareRows(const std::filesystem::path& store);

/// The least that recording a row has to do: prepared statements, and one
/// durable transaction a row. Same schema, same settings, no question whether
/// the row is known.
class BareCatalog {
 public:
  /// `store` has the catalog's schema, and the names of all tags and labels.
  explicit BareCatalog(const std::filesystem::path& store);

  void write(const BareRow& row);

 private:
  static void link(SQLite::Statement& statement, std::int64_t photo,
                   const std::vector<std::string>& names);

  SQLite::Database database_;
  SQLite::Statement insert_;
  SQLite::Statement tag_;
  SQLite::Statement label_;
};

}  // namespace vaultmere::bench
