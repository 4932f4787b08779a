// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "catalog/CatalogDate.h"
#include "catalog/Connection.h"

namespace vaultmere {

/// When each archived item was verified last, in a store of its own beside the
/// catalog, `Verification.sqlite`.
///
/// A scrub writes here every half minute. In the catalog each such commit would
/// drop the totals and pages that its readers keep; here it concerns nobody. The
/// store can be lost without harm: everything then counts as verified when it was
/// frozen, and is read again sooner than it need be. So one that is damaged is
/// replaced by an empty one, with a line in the log, and backups leave it out.
///
/// One thread at a time.
class VerificationTimes {
 public:
  /// What was done about one item.
  struct Entry {
    std::string id;
    CatalogDate triedAt;
    bool isVerified = false;  ///< all of its files had the right bytes
  };

  /// An item in the order in which items are to be read.
  struct Planned {
    std::int64_t row = 0;    ///< primary key in the catalog
    CatalogDate triedAt;     ///< with whatever result; the freeze counts; -∞: never
    std::int64_t bytes = 0;  ///< of its files, as the catalog has them
  };

  /// All items of a moment.
  struct Plan {
    std::vector<Planned> items;  ///< not yet tried since the moment asked for; the oldest first
    double bytes = 0;            ///< of the whole catalog
    double triedBytes = 0;       ///< of the items that a scrub has tried since
  };

  /// Opens or makes the store beside the catalog `store`. Reads it whole. Throws
  /// CatalogError.
  explicit VerificationTimes(const std::filesystem::path& store);

  /// What is to be read, of items that were last tried before `since`. A time
  /// later than `now` counts as never. 24 bytes of memory an item. Throws
  /// CatalogError.
  [[nodiscard]] Plan plan(CatalogDate since, CatalogDate now);

  /// When the item was verified that has waited longest, the freeze included and
  /// trashed ones left out: their files are the user's to delete. `now` when there
  /// is none; absent when one never was. Throws CatalogError.
  [[nodiscard]] std::optional<CatalogDate> oldest(CatalogDate now);

  /// Keeps what was done, in one durable transaction. Throws CatalogError.
  void write(std::span<const Entry> entries);

 private:
  const std::filesystem::path catalog_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace vaultmere
