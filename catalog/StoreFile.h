// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

// Store files that nobody uses, such as backups. They are read as they are, without
// a write-ahead log or a journal, and not changed; what they say is not trusted.
namespace vaultmere {

class Connection;

/// The version of the schema. Throws CatalogError, also for a file that is no store.
[[nodiscard]] int schemaVersion(const std::filesystem::path& store);

/// Throws CatalogError unless the file is a sound catalog that this program can
/// open: the version of its schema is known, all tables and columns of that
/// version are there, nothing in it runs by itself (triggers, views, virtual
/// tables), and every page can be read. Reads the whole file.
void requireCatalog(const std::filesystem::path& store);

/// The number of photos. Throws CatalogError.
[[nodiscard]] std::int64_t photosIn(const std::filesystem::path& store);
/// The same of an open store.
[[nodiscard]] std::int64_t photosIn(Connection& connection);

/// Whether some photo is in both. Throws CatalogError.
[[nodiscard]] bool sharePhotos(const std::filesystem::path& store,
                               const std::filesystem::path& other);

/// Brings all that is in the write-ahead log of a closed store into its file, and
/// removes the log. Throws CatalogError.
void checkpoint(const std::filesystem::path& store);

}  // namespace vaultmere
