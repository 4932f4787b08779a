// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <stop_token>

#include "care/ArchiveMove.h"
#include "catalog/Photo.h"

namespace vaultmere {

/// The folder for what the user has trashed, and in it the one for files whose
/// name was needed for other bytes; both below the archive's root.
inline constexpr const char* kTrashFolder = "trash";
inline constexpr const char* kDamagedFolder = "damaged";

/// Moves the files of one photo between the archive and its trash, so that no bytes
/// are replaced by others. Not for the main thread.
class TrashMove {
 public:
  struct Options {
    const Photo& photo;
    const ArchiveRoot& root;
    CatalogDate now;       ///< names what goes to the folder of damaged files
    std::stop_token stop;  ///< ends a running copy
    /// Records a video that a motion file has become, whose file stands.
    std::function<void(const Photo& video)> record;
  };

  explicit TrashMove(Options options) : options_(std::move(options)) {}

  /// Moves the primary file. When its new name is taken by other bytes, the file
  /// whose hash is the photo's id gets the name, else the one that moves; the
  /// other goes to the folder of damaged files. Throws FileError and ArchiveError.
  void movePrimary(const FilePlace& from, const FilePlace& to) const;

  /// Moves the motion file from beside one place of the primary file to beside the
  /// other, if the photo has one and it is there. Another one that has its name
  /// becomes a video of its own, trashed `since` then, or not. A failure is logged.
  void moveMotion(const FilePlace& from, const FilePlace& to,
                  const std::optional<CatalogDate>& since) const noexcept;

 private:
  void setAside(const FilePlace& file) const;
  void keepAsVideo(const FilePlace& motion, const std::string& hash,
                   const std::optional<CatalogDate>& since) const;

  Options options_;
};

}  // namespace vaultmere
