// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "catalog/Connection.h"
#include "catalog/Photo.h"
#include "catalog/SchemaSteps.h"

namespace vaultmere {

/// A member of `Photo`. Its type says all that the store wants to know: the
/// column's type, and whether it is required or optional.
using PhotoMember =
    std::variant<std::string Photo::*, std::int64_t Photo::*, bool Photo::*,
                 std::optional<std::string> Photo::*, std::optional<std::int64_t> Photo::*,
                 std::optional<int> Photo::*, std::optional<double> Photo::*,
                 std::optional<CatalogDate> Photo::*, std::vector<std::string> Photo::*>;

/// An attribute of the entity `Photo`: the column and the member of one name.
/// The names are in every catalog on disk: never change them.
struct PhotoAttribute {
  std::string_view name;
  PhotoMember member;
  int since = 1;  ///< the schema version that added the column
};

/// All attributes, in the order of the store's columns.
[[nodiscard]] std::span<const PhotoAttribute> photoAttributes();

/// "sizeBytes INTEGER NOT NULL DEFAULT 0": the column's name and type; required
/// ones take the default of a new record.
[[nodiscard]] std::string columnDefinition(const PhotoAttribute& attribute);

/// The columns of `Photo` in their order, as "id, photosUUID, …", for a SELECT
/// whose rows `photoFromRow` reads.
[[nodiscard]] const std::string& photoColumns();
/// The record in a row whose columns from `firstColumn` on are `photoColumns`.
[[nodiscard]] Photo photoFromRow(const Statement& row, int firstColumn = 0);

/// A list of strings as the store keeps it, a JSON array, and back. Anything
/// else reads as an empty list.
[[nodiscard]] std::string stringListText(const std::vector<std::string>& list);
[[nodiscard]] std::vector<std::string> stringListFromText(std::string_view text);

/// Inserts a row with all its attributes; gives its primary key.
std::int64_t insertPhoto(Connection& connection, const Photo& photo);

}  // namespace vaultmere
