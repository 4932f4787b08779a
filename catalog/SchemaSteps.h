// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

class Connection;

/// The schema version that this program reads and writes. A store carries its
/// own in `user_version`; 0 is a new store.
inline constexpr int kSchemaVersion = 4;

/// Brings the store up to `version`, step by step and in one transaction: each
/// step adds the tables, columns and indexes of one version, and what is there
/// stays. Throws CatalogError, also for a store of a later version.
void prepareSchema(Connection& connection, int version = kSchemaVersion);

/// The version of an open store. Throws CatalogError.
[[nodiscard]] int schemaVersion(Connection& connection);

}  // namespace vaultmere
