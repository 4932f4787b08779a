// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/StoreFile.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>

#include <string>
#include <string_view>

#include "catalog/CatalogError.h"
#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

/// As part of a URI; only bytes that never have a meaning there stand as they are.
std::string percentEncoded(std::string_view path) {
  std::string encoded;
  for (const char c : path) {
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                         (c >= '0' && c <= '9') || c == '/' || c == '.' || c == '-' || c == '_';
    encoded += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return encoded;
}

std::string uriOf(const std::filesystem::path& store) {
  return fmt::format("file:{}?immutable=1", percentEncoded(store.native()));
}

/// Opens the file, and says which one it was when something in `read` fails.
template <typename Read>
auto readStore(const std::filesystem::path& store, Read&& read) {
  try {
    SQLite::Database database(uriOf(store), SQLite::OPEN_READONLY | SQLite::OPEN_URI);
    database.exec("PRAGMA trusted_schema = OFF");
    return read(database);
  } catch (const SQLite::Exception& error) {
    throw CatalogError(fmt::format("read “{}”: {}", store.string(), error.what()));
  }
}

void requireTables(SQLite::Database& database, int version) {
  std::string columns = "pk";
  for (const PhotoAttribute& attribute : photoAttributes()) {
    if (attribute.since <= version) {
      columns.append(", ").append(attribute.name);
    }
  }
  for (const std::string& query :
       {"SELECT " + columns + " FROM Photo", std::string("SELECT pk, name FROM Tag"),
        std::string("SELECT pk, name FROM Label"), std::string("SELECT photo, tag FROM Photo_tags"),
        std::string("SELECT photo, label FROM Photo_labels")}) {
    const SQLite::Statement compiles(database, query);
  }
}

/// Whether reading or writing the tables could run what the file's author wrote.
bool hasCode(SQLite::Database& database) {
  return database
             .execAndGet(
                 "SELECT count(*) FROM sqlite_master WHERE type NOT IN ('table', 'index')"
                 " OR sql LIKE 'CREATE%VIRTUAL%TABLE%'")
             .getInt() > 0;
}

}  // namespace

int schemaVersion(const std::filesystem::path& store) {
  return readStore(store, [](SQLite::Database& database) {
    return database.execAndGet("PRAGMA user_version").getInt();
  });
}

void requireCatalog(const std::filesystem::path& store) {
  readStore(store, [&](SQLite::Database& database) {
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    if (version > kSchemaVersion) {
      throw CatalogError(
          fmt::format("“{}” was written by a newer version (its form is {}, this program knows {})",
                      store.string(), version, kSchemaVersion));
    }
    if (version < 1 || hasCode(database)) {
      throw CatalogError(fmt::format("“{}” is no catalog of this program", store.string()));
    }
    requireTables(database, version);
    const std::string found = database.execAndGet("PRAGMA quick_check(1)").getString();
    if (found != "ok") {
      throw CatalogError(fmt::format("“{}” is damaged: {}", store.string(), found));
    }
  });
}

std::int64_t photosIn(const std::filesystem::path& store) {
  return readStore(store, [&](SQLite::Database& database) {
    if (hasCode(database)) {
      throw CatalogError(fmt::format("“{}” is no catalog of this program", store.string()));
    }
    return database.execAndGet("SELECT count(*) FROM Photo").getInt64();
  });
}

std::int64_t photosIn(Connection& connection) {
  auto row = connection.prepare("SELECT count(*) FROM Photo");
  row.step();
  return row.integer(0);
}

bool sharePhotos(const std::filesystem::path& store, const std::filesystem::path& other) {
  return readStore(store, [&](SQLite::Database& database) {
    SQLite::Statement attach(database, "ATTACH ? AS other");
    attach.bind(1, uriOf(other));
    attach.exec();
    return database
               .execAndGet("SELECT EXISTS (SELECT 1 FROM main.Photo JOIN other.Photo USING (id))")
               .getInt() != 0;
  });
}

void checkpoint(const std::filesystem::path& store) {
  Connection connection(store);
  auto row = connection.prepare("PRAGMA wal_checkpoint(TRUNCATE)");
  if (row.step() && row.integer(0) != 0) {
    throw CatalogError(fmt::format("checkpoint “{}”: the store is in use", store.string()));
  }
}

}  // namespace vaultmere
