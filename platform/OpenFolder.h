// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/Descriptor.h"
#include "platform/Files.h"

namespace vaultmere {

/// A folder that is held open. What is done in it goes by name, stays in it
/// whatever becomes of its path meanwhile, and follows no symbolic link.
///
/// Names are single components. Every function may throw FileError, which shows
/// the path by which the folder was opened. Any thread.
class OpenFolder {
 public:
  /// Links in the path are followed. ENOTDIR for what isn't a folder.
  [[nodiscard]] static OpenFolder open(const fs::path& path);
  /// The folder `name`; ELOOP for a symbolic link.
  [[nodiscard]] OpenFolder folder(const fs::path& name) const;
  /// The same, made when it is missing. Its entry isn't flushed.
  [[nodiscard]] OpenFolder makeFolder(const fs::path& name) const;

  /// The folder's own status.
  [[nodiscard]] FileStatus status() const;
  /// The status of an entry; absent when there is none.
  [[nodiscard]] std::optional<FileStatus> statusOf(const fs::path& name) const;
  /// See File::openForReading; ELOOP for a symbolic link.
  [[nodiscard]] File openForReading(const fs::path& name) const;
  /// See File::createNew.
  [[nodiscard]] File createNew(const fs::path& name) const;

  /// Gives an entry a name that nothing else has. False when something has it
  /// by now, and then nothing has changed. Where the file system can't rename
  /// without replacing (network shares, FUSE), a hard link takes the name; where
  /// it has no links either, all processes of this machine that use this
  /// function take turns.
  [[nodiscard]] bool renameNoReplace(const fs::path& from, const fs::path& to) const;
  /// rename(2) into a folder: what has the name there is replaced, atomically. EXDEV
  /// when that folder lies on another file system.
  void renameInto(const fs::path& from, const OpenFolder& folder, const fs::path& to) const;
  void remove(const fs::path& name) const;
  /// See syncDirectory.
  void sync() const;

  [[nodiscard]] const fs::path& path() const noexcept { return path_; }

 private:
  OpenFolder(Descriptor descriptor, fs::path path) noexcept
      : descriptor_(std::move(descriptor)), path_(std::move(path)) {}
  [[nodiscard]] bool linkNoReplace(const fs::path& from, const fs::path& to) const;
  [[nodiscard]] bool renameInTurn(const fs::path& from, const fs::path& to) const;

  Descriptor descriptor_;  // O_PATH: a folder needs no read permission for this
  fs::path path_;
};

/// Flushes folders, but none that hasn't changed since it was flushed here.
/// Any thread.
class FolderFlushes {
 public:
  /// All entries that the folder has now are durable after this.
  void flush(const OpenFolder& folder);

 private:
  std::mutex mutex_;
  /// Modification times by device and inode. Guarded by mutex_.
  std::map<std::pair<dev_t, ino_t>, std::int64_t> flushed_;
};

}  // namespace vaultmere
