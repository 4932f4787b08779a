// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

#include "catalog/CatalogContext.h"
#include "intake/ArchiveRoot.h"
#include "media/MediaService.h"
#include "media/Vision.h"

namespace vaultmere {

/// Makes rows for the files of an archive, when the catalog and its backup are
/// gone: what the files themselves tell. Nothing is copied or moved, and rows that
/// are there stay. Files are counted in groups: a still with its motion file is one.
///
/// Passed over are hidden files, the archive's trash, which is counted in the log,
/// and folders of the storage. A file that a row names as its place, with the row's
/// size, isn't read: so a killed rebuild goes on where it was.
///
/// The name of an archived file gives no date. Where only the modification time is
/// known and the folder names another month, the first day of that month counts.
class ArchiveRebuilder {
 public:
  struct Options {
    ArchiveRoot root;
    std::shared_ptr<CatalogContext> context;  ///< the rebuild's own
    MediaService& media;
    const Vision* vision = nullptr;                        ///< may be null
    std::vector<std::filesystem::path> neverScanned = {};  ///< the program's own folders
  };

  struct Result {
    std::size_t added = 0;
    /// That couldn't be read; with those named by a hash that isn't theirs.
    std::size_t unreadable = 0;
    bool operator==(const Result&) const = default;
  };

  using Progress = std::function<void(std::size_t done, std::size_t total)>;

  explicit ArchiveRebuilder(Options options) : options_(std::move(options)) {}

  /// Blocks for as long as all files take to be read. `progress` is called on this
  /// thread: at first with 0, after every fifth file and after the last one. A stop
  /// ends it early, with what was done. Throws FileError when the root isn't there,
  /// also in the middle, CatalogError when the catalog can't be read, and MediaError
  /// when no file can be looked into.
  [[nodiscard]] Result run(const Progress& progress, const std::stop_token& stop) const;

 private:
  Options options_;
};

}  // namespace vaultmere
