// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/VaultmereCatalog.h"

#include <fmt/format.h>

#include "catalog/CatalogError.h"
#include "catalog/PhotoSchema.h"
#include "platform/Files.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr int kOpenAttempts = 3;
constexpr std::chrono::milliseconds kPauseBetweenAttempts{500};

std::shared_ptr<CatalogContext> openStore(const std::filesystem::path& store, ThreadPool& pool) {
  try {
    makePrivateFolder(store.parent_path());
  } catch (const FileError& error) {
    throw CatalogError(error.what());
  }
  auto context = std::make_shared<CatalogContext>(store, pool);
  context->perform([](Connection& connection) { prepareSchema(connection); });
  return context;
}

}  // namespace

VaultmereCatalog::VaultmereCatalog(const Options& options, ThreadPool& pool)
    : store_(options.folder / "Vaultmere.sqlite"), pool_(pool) {
  if (options.applyPendingRestore) {
    options.applyPendingRestore(store_);
  }
  for (int number = 1;; ++number) {
    try {
      viewContext_ = openStore(store_, pool_);
      return;
    } catch (const CatalogError& error) {
      logLine(fmt::format("Vaultmere: catalog open attempt {} failed — {}", number, error.what()));
      options.pause(kPauseBetweenAttempts);
      if (number == kOpenAttempts) {
        throw;
      }
    }
  }
}

std::shared_ptr<CatalogContext> VaultmereCatalog::newBackgroundContext() const {
  return std::make_shared<CatalogContext>(store_, pool_);
}

std::vector<MediaTotal> mediaTotals(Connection& connection) {
  std::vector<MediaTotal> totals;
  auto rows = connection.prepare(
      "SELECT mediaType, count(*), sum(sizeBytes) FROM Photo INDEXED BY allByMediaType"
      " GROUP BY mediaType");
  while (rows.step()) {
    totals.push_back({rows.text(0), rows.integer(1), rows.integer(2)});
  }
  return totals;
}

std::vector<MediaTotal> mediaBreakdown(CatalogContext& context) {
  return context.perform([](Connection& connection) {
    try {
      return mediaTotals(connection);
    } catch (const CatalogError&) {
      return std::vector<MediaTotal>();
    }
  });
}

}  // namespace vaultmere
