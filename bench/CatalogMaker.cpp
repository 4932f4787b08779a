// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/CatalogMaker.h"

#include <fmt/format.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench/Benchmark.h"
#include "catalog/PhotoSchema.h"

namespace vaultmere::bench {
namespace {

constexpr std::uint64_t kSeed = 20'240'501;

/// Takes the indexes of the photographs away while there is much to insert.
std::vector<std::string> dropIndexes(Connection& connection) {
  std::vector<std::string> definitions;
  std::vector<std::string> names;
  {
    auto rows = connection.prepare(
        "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL");
    while (rows.step()) {
      names.push_back(rows.text(0));
      definitions.push_back(rows.text(1));
    }
  }
  for (const std::string& name : names) {
    connection.execute(fmt::format("DROP INDEX {}", name).c_str());
  }
  return definitions;
}

}  // namespace

void makeCatalog(const std::filesystem::path& store, const LibrarySize& size) {
  Connection connection(store);
  prepareSchema(connection);
  const auto indexes = dropIndexes(connection);
  connection.execute("PRAGMA synchronous = OFF; PRAGMA cache_size = -200000;");
  LibraryGenerator(size, kSeed).fill(connection, [](const LibraryRow&) {});
  for (const std::string& index : indexes) {
    connection.execute(index.c_str());
  }
  connection.execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

std::filesystem::path sharedCatalog(const std::filesystem::path& folder) {
  namespace fs = std::filesystem;
  const fs::path library = folder.parent_path() / "library";
  if (!fs::exists(library)) {
    const fs::path unfinished = folder / "library";
    makeFresh(unfinished);
    makeCatalog(unfinished / "Vaultmere.sqlite", {});
    fs::rename(unfinished, library);
  }
  ::sync();
  return library / "Vaultmere.sqlite";
}

}  // namespace vaultmere::bench
