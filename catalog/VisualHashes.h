// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Photo.h"
#include "catalog/PhotoFilter.h"

// The queries behind the search for copies of pictures. All run on the connection's
// thread, and throw CatalogError. Not for the main thread.
namespace vaultmere {

/// What the search keeps of every picture.
struct PictureRow {
  std::int64_t key = 0;  ///< primary key
  int width = 0;         ///< pixels, as stored; 0 when the row has none
  int height = 0;
  std::optional<std::uint64_t> hash;  ///< absent: not hashed yet
  bool operator==(const PictureRow&) const = default;
};

/// The hash of the row with this primary key.
struct PictureHash {
  std::int64_t key = 0;
  std::uint64_t hash = 0;
};

/// All pictures that have a size and aren't in the trash, in the order of insertion,
/// stacked ones too; with an active filter only those that the library lists under it.
[[nodiscard]] std::vector<PictureRow> fetchPictures(Connection& connection,
                                                    const PhotoFilter& filter);

/// Stores hashes as `phash`, the same 64 bits with a sign, in one durable transaction.
/// Rows that are gone are passed over.
void storeHashes(Connection& connection, std::span<const PictureHash> hashes);

/// The rows with these primary keys, one for each key; absent for those that are gone.
[[nodiscard]] std::vector<std::optional<Photo>> fetchPhotosByKey(
    Connection& connection, std::span<const std::int64_t> keys);

}  // namespace vaultmere
