// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "catalog/AnalyzedPhoto.h"
#include "intake/ArchiveError.h"
#include "intake/ArchiveRoot.h"

namespace vaultmere {

/// Brings files to their places in the archive.
///
/// A file that is already at its place is adopted: it and its folders are
/// flushed like those of a copy, since the process that wrote it may have been killed
/// before it did so. Nothing below the root is reached through a symbolic link.
///
/// A value; copies share what they know of flushed folders. Any thread, several
/// calls at once.
class Archiver {
 public:
  struct Archived {
    std::filesystem::path archivePath;
    std::optional<std::filesystem::path> liveMotionPath;
    std::int64_t liveMotionSize = 0;  ///< of the file at `liveMotionPath`
    /// Of the same file, if it has been read: absent for one that is trusted unread.
    std::optional<std::string> liveMotionHash;
    /// A motion file with other bytes was there before: it stays, and the
    /// source's has not been archived.
    bool motionDiffers = false;
  };

  /// A stop ends a running copy.
  Archiver(ArchiveRoot root, std::stop_token stop)
      : root_(std::move(root)), stop_(std::move(stop)) {}

  /// Copies a file and its motion file, unless they are there. What is there is
  /// trusted unread, but a motion file must have its source's size; when the
  /// sources are to be removed afterwards (`sourcesGo`), it is read and must have
  /// the sources' hashes. Everything is durable when this returns. Throws
  /// FileError (ECANCELED after a stop) and ArchiveError; the primary's copy
  /// stays when the motion file's fails.
  [[nodiscard]] Archived archive(const std::filesystem::path& source,
                                 const std::optional<std::filesystem::path>& motion,
                                 const AnalyzedPhoto& photo, bool sourcesGo) const;

 private:
  struct Item {
    const std::filesystem::path& source;
    std::filesystem::path relative;
    std::optional<std::string> expectedHash;  ///< none for a motion file
    bool sourceGoes = false;
  };
  enum class Presence { copied, wasThere, differs };
  struct Ensured {
    Presence presence;
    std::optional<std::string> hash;  ///< of the file at the target, if it has been read
  };
  [[nodiscard]] Ensured ensureArchived(const Item& item) const;
  [[nodiscard]] Ensured adopt(const Item& item, const OpenFolder& folder, bool readsIt) const;

  ArchiveRoot root_;
  std::stop_token stop_;
  std::shared_ptr<FolderFlushes> flushes_ = std::make_shared<FolderFlushes>();
};

}  // namespace vaultmere
