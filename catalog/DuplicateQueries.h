// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "catalog/CatalogDate.h"
#include "catalog/Connection.h"
#include "catalog/Predicate.h"

// What the search for duplicates reads. All throw CatalogError, and read as much
// as the table has: not for the main thread.
namespace vaultmere {

/// A photo that isn't trashed, with an instant of capture and a size.
struct DatedPhoto {
  std::int64_t key = 0;  ///< the row's primary key
  std::string id;
  std::string originalFilename;
  std::string ext;
  std::int64_t sizeBytes = 0;
  CatalogDate captureDate;
  int width = 0;
  int height = 0;
  std::string mediaType;
  bool ptBurst = false;
  bool stackExempt = false;
  bool isFromPhotos = false;  ///< has an identifier of the photo library
  bool hasCamera = false;     ///< has a camera's model
  std::optional<std::string> stackedUnder;
  std::optional<std::string> archivePath;
  std::string targetPath;
};

/// Calls `use` for each instant that two or more photos have in every bit, the
/// earliest first, with these photos in the order of their insertion. All see one
/// state of the store. A first pass reads instants alone, from their index; only
/// rows that share one are read, and those of one instant are held at a time.
void forEachSharedInstant(Connection& connection,
                          const std::function<void(std::vector<DatedPhoto>)>& use);

/// The primary keys of the rows that fulfil a condition, in no order.
[[nodiscard]] std::vector<std::int64_t> fetchKeys(Connection& connection,
                                                  const Predicate& predicate);

}  // namespace vaultmere
