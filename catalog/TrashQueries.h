// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/CatalogDate.h"
#include "catalog/Connection.h"
#include "catalog/Photo.h"

// What the trash asks of the catalog and changes in it. All throw CatalogError;
// each change is one durable transaction, of which nothing stays after a failure.
namespace vaultmere {

/// Marks a photo as trashed, `since` then unless it already is, takes it out of its
/// stack, and frees the photos that are stacked below it. Gives the ids of the
/// rows that were changed, the photo's own first; none when there is no such
/// row. With a `keeper`, for which the photo goes: absent when that is trashed or
/// not there, and then nothing has changed.
[[nodiscard]] std::optional<std::vector<std::string>> markTrashed(
    Connection& connection, std::string_view id, CatalogDate since,
    const std::optional<std::string>& keeper = std::nullopt);

/// Takes the mark away; what the photo was stacked with stays as it is. Gives the
/// ids of the rows that were changed.
[[nodiscard]] std::vector<std::string> markRestored(Connection& connection, std::string_view id);

/// Inserts a row, unless its `id` is known.
void insertUnlessKnown(Connection& connection, const Photo& photo);

/// The trashed photos, the latest first, at most `limit`.
[[nodiscard]] std::vector<Photo> fetchTrashed(Connection& connection, int limit);

}  // namespace vaultmere
