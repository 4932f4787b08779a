// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

struct sqlite3;

namespace vaultmere {

/// Adds the SQL function `linked_name_contains(term, pk)` to a connection:
/// whether a tag or a label of the photo with this primary key contains the
/// term, see `foldedContains`. The term must be a parameter or a literal.
///
/// A statement compares the names once, at its first row. It looks up the
/// links of the first rows one by one, which is all that a page in its order
/// takes; a statement that asks for more collects the photos of all matching
/// names: 16 to 40 bytes for each 64 consecutive keys. Both are kept until the
/// statement is reset.
///
/// Throws CatalogError.
void addLinkedNameFunction(sqlite3* database);

}  // namespace vaultmere
