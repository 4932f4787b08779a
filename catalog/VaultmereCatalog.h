// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/signal.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "catalog/CatalogContext.h"

namespace vaultmere {

/// The rows of one media type.
struct MediaTotal {
  std::string mediaType;
  std::int64_t count = 0;
  std::int64_t bytes = 0;
  bool operator==(const MediaTotal&) const = default;
};

/// The store of everything that was ever archived, and the maker of contexts
/// on it. Lives from start-up to the end of the process.
class VaultmereCatalog {
 public:
  struct Options {
    std::filesystem::path folder;  ///< holds `Vaultmere.sqlite`; made (0700) when missing
    /// Called before anything touches the store, with its path: puts a staged
    /// restore in its place. Must not throw.
    std::function<void(const std::filesystem::path& store)> applyPendingRestore;
    /// Waits between attempts; a test counts instead.
    std::function<void(std::chrono::milliseconds)> pause;
  };

  /// Opens or makes the store, in up to three attempts half a second apart,
  /// each failure logged. Blocks for as long. Throws the last CatalogError.
  VaultmereCatalog(const Options& options, ThreadPool& pool);

  /// The context of the main thread: short reads alone.
  [[nodiscard]] CatalogContext& viewContext() const { return *viewContext_; }

  /// A context for one job, with a connection and a queue of its own. Any
  /// thread. Throws CatalogError.
  [[nodiscard]] std::shared_ptr<CatalogContext> newBackgroundContext() const;

  /// Announces the ids of rows that a committed operation has changed, moved to
  /// the trash or below a stack, or deleted: who shows them reads them again.
  /// Inserted rows are not announced. Main thread only.
  using RowsChanged = sigc::signal<void(const std::vector<std::string>& ids)>;
  [[nodiscard]] RowsChanged& rowsChanged() const { return *rowsChanged_; }

  [[nodiscard]] const std::filesystem::path& store() const { return store_; }

 private:
  const std::filesystem::path store_;
  ThreadPool& pool_;
  std::shared_ptr<CatalogContext> viewContext_;
  std::shared_ptr<RowsChanged> rowsChanged_ = std::make_shared<RowsChanged>();
};

/// Count and bytes of each media type, by name. Throws CatalogError.
[[nodiscard]] std::vector<MediaTotal> mediaTotals(Connection& connection);

/// The same in the context's turn; empty when the store can't be read.
/// Reads an index as long as the table: not for the main thread.
[[nodiscard]] std::vector<MediaTotal> mediaBreakdown(CatalogContext& context);

}  // namespace vaultmere
