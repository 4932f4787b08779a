// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "catalog/AnalyzedPhoto.h"
#include "catalog/CatalogContext.h"

namespace vaultmere {

/// Turns records into rows. The one place where the catalog learns of new
/// content. A value; copies share the context, whose queue puts their writes
/// in order.
class CatalogWriter {
 public:
  enum class Outcome { inserted, duplicate };

  explicit CatalogWriter(std::shared_ptr<CatalogContext> context);

  /// Records one item, on this thread, in the context's turn and in one durable
  /// transaction. A known `id` gives `duplicate`; of such a record only the
  /// photo library's identifier is merged into the row, nothing else of the row
  /// changes. Throws CatalogError, and then nothing has changed.
  [[nodiscard]] Outcome write(const AnalyzedPhoto& photo) const;

 private:
  std::shared_ptr<CatalogContext> context_;
};

}  // namespace vaultmere
