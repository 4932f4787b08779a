// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "catalog/AnalyzedPhoto.h"
#include "catalog/CatalogContext.h"
#include "catalog/Verification.h"

namespace vaultmere {

/// Turns records into rows. The one place where the catalog learns of new
/// content. A value; copies share the context, whose queue puts their writes
/// in order.
class CatalogWriter {
 public:
  enum class Outcome { inserted, duplicate };

  explicit CatalogWriter(std::shared_ptr<CatalogContext> context);

  /// Records one item, on this thread, in the context's turn and in one durable
  /// transaction. A known `id` gives `duplicate`; of such a record the photo
  /// library's identifier is merged into the row, and its motion file is added to
  /// a row without one; nothing else of the row changes. The motion file's hash is
  /// kept when that file is the row's. Throws CatalogError, and then nothing has
  /// changed.
  [[nodiscard]] Outcome write(const AnalyzedPhoto& photo) const;

  /// Whether there is a row of this `id`. Throws CatalogError.
  [[nodiscard]] bool holds(std::string_view id) const;

  /// The row of this `id`, if one of its files is marked as bad. Throws
  /// CatalogError.
  [[nodiscard]] std::optional<VerifiableItem> marked(std::string_view id) const;
  /// Takes the mark off a file that has been replaced. Throws CatalogError.
  void clearMark(const VerifiableItem& item, ArchivedPart part) const;

 private:
  std::shared_ptr<CatalogContext> context_;
};

}  // namespace vaultmere
