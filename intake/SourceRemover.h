// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "intake/ArchiveRoot.h"

namespace vaultmere {

/// A source that stands in the archive and has its row.
struct ArchivedSource {
  std::filesystem::path path;
  /// As it was before its first byte was read; absent when that isn't known.
  std::optional<FileStamp> asRead;
  std::filesystem::path archived;  ///< below the archive's root
  std::string id;                  ///< of the item that it belongs to
};

/// Removes sources once they may go. A value; any thread.
class SourceRemover {
 public:
  struct Options {
    ArchiveRoot root;
    /// Folders besides the archive of which no file may be removed.
    std::vector<std::filesystem::path> neverRemoved;
    /// Whether the archive is known to hold an item of this hash.
    std::function<bool(const std::string& id)> holds;
  };

  explicit SourceRemover(Options options) : options_(std::move(options)) {}

  /// Removes a source. It stays, and a log line says why, when its archived file
  /// isn't in reach, when it is itself a file of the archive (by place, by inode
  /// or by its name, however it was reached), when somebody writes to it, or
  /// when it has changed since it was read, which is asked last. True when it is
  /// gone.
  [[nodiscard]] bool remove(const ArchivedSource& source) const;

 private:
  [[nodiscard]] const char* reasonInArchive(const ArchivedSource& source) const;
  [[nodiscard]] bool isNamedLikeArchived(const ArchivedSource& source) const;

  Options options_;
};

}  // namespace vaultmere
