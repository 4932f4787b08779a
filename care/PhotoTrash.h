// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "care/ArchiveMove.h"
#include "care/TrashMove.h"
#include "catalog/CatalogContext.h"
#include "catalog/CatalogDate.h"
#include "catalog/Photo.h"

namespace vaultmere {

/// Why a photo can't be trashed or restored, in words for the user.
class TrashError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  static TrashError originalNotFound(const Photo& photo);
};

/// The photo's original: where it was copied to, else where it belongs below the
/// root; absent when it is at neither. Throws FileError when the drive fails.
[[nodiscard]] std::optional<FilePlace> findOriginal(const Photo& photo, const ArchiveRoot& root);

/// Moves a photo's files into the folder `trash` below the archive's root and marks
/// its row, and back. Nobody but the user ever empties that folder.
///
/// The files go first, durably, and the row last. What a killed run has moved
/// counts as moved: the same operation again goes on where that one stopped. No
/// bytes are ever replaced by others: when a name is taken, both files are read;
/// the one whose hash is the photo's id gets the name, else the one that moves, and
/// the other goes to `trash/damaged`. A motion file in the way becomes a video of
/// its own. A motion file that can't be moved is one line of the log.
///
/// Each operation blocks for as long as the drive takes: any thread but the main
/// one, and one operation at a time. Gives the ids of the rows that it has
/// changed, which the caller announces; none when the photo has no row. Throws
/// TrashError, FileError, ArchiveError or CatalogError; the row is unchanged then,
/// and only if its change failed have the files moved.
class PhotoTrash {
 public:
  struct Options {
    std::optional<ArchiveRoot> root;          ///< absent: no destination is chosen
    std::shared_ptr<CatalogContext> catalog;  ///< of this job alone
    std::function<CatalogDate()> now;
    /// Whether the file of this id is known to have other bytes than it should;
    /// null when nobody knows.
    std::function<bool(const std::string& id)> isDamaged;
    std::stop_token stop;  ///< ends a running copy
  };
  using ChangedIds = std::vector<std::string>;

  explicit PhotoTrash(Options options) : options_(std::move(options)) {}

  /// Frees the photos that are stacked below this one.
  [[nodiscard]] ChangedIds trash(const std::string& id) const { return moveToTrash(id, {}); }

  /// The same in favour of another photo: only if `keeper` isn't trashed or known
  /// to be damaged, and its original is there with the size of its row.
  [[nodiscard]] ChangedIds mergeInto(const std::string& keeper, const std::string& id) const {
    return moveToTrash(id, keeper);
  }

  /// To the place below the root where the row says that the file belongs.
  [[nodiscard]] ChangedIds restore(const std::string& id) const;

 private:
  [[nodiscard]] const ArchiveRoot& chosenRoot() const;
  [[nodiscard]] std::optional<Photo> fetch(const std::string& id) const;
  [[nodiscard]] ChangedIds moveToTrash(const std::string& id,
                                       const std::optional<std::string>& keeper) const;
  void checkKeeper(const std::string& keeper) const;
  [[nodiscard]] TrashMove mover(const Photo& photo, CatalogDate now) const;

  Options options_;
};

}  // namespace vaultmere
