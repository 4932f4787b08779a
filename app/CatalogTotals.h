// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>

#include "catalog/VaultmereCatalog.h"
#include "platform/ChangeSignal.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// The totals of the whole catalog.
struct ArchiveBreakdown {
  std::int64_t count = 0;
  std::int64_t photos = 0;
  std::int64_t videos = 0;
  std::int64_t bytes = 0;
  std::int64_t photoBytes = 0;
  std::int64_t videoBytes = 0;
  bool operator==(const ArchiveBreakdown&) const = default;
};

/// Keeps the totals of the catalog for the screens. Counting reads an index as
/// long as the table, so it is done on `pool`. Main thread only.
class CatalogTotals {
 public:
  CatalogTotals(MainThread& main, ThreadPool& pool, ChangeSignal& changed)
      : pool_(pool), changed_(changed), toMain_(main) {}

  void setCatalog(std::shared_ptr<const VaultmereCatalog> catalog) {
    catalog_ = std::move(catalog);
  }

  /// Zeros until the first count is there, and when one fails.
  [[nodiscard]] const ArchiveBreakdown& archive() const { return archive_; }

  /// Counts anew. At most one count runs; calls meanwhile give one more.
  void refresh();

 private:
  void show(const ArchiveBreakdown& archive);

  ThreadPool& pool_;
  ChangeSignal& changed_;
  const MainThreadCallback toMain_;
  std::shared_ptr<const VaultmereCatalog> catalog_;
  ArchiveBreakdown archive_;
  bool isCounting_ = false;
  bool isOutdated_ = false;  ///< another count has been asked for meanwhile
};

}  // namespace vaultmere
