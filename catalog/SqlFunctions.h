// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

struct sqlite3;

namespace vaultmere {

/// Adds the SQL functions of the catalog's queries to a connection.
///
/// `contains_folded(term, text...)`: whether one of the texts contains the
/// term, see `foldedContains`; a NULL contains nothing.
///
/// `tally(value)`: an aggregate. Counts each different text or integer, NULL
/// apart, and gives the JSON array of the pairs [value, count], ascending by
/// value as the store sorts (integers first, texts by their bytes). Unlike
/// GROUP BY it needs neither an index nor a sorter as large as the table, and
/// several fit in one pass. "[]" over no rows.
///
/// Throws CatalogError.
void addSqlFunctions(sqlite3* database);

}  // namespace vaultmere
