// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "intake/ArchiveRoot.h"
#include "platform/OpenFolder.h"

// Moves of files below an archive's root. All of these touch the drive: any thread
// but the main one. All throw FileError, ECANCELED after a stop.
namespace vaultmere {

/// A name in a folder that is held open. There may be nothing yet.
struct FilePlace {
  std::shared_ptr<const OpenFolder> folder;
  fs::path name;  ///< a single component

  FilePlace(OpenFolder in, fs::path called)
      : folder(std::make_shared<const OpenFolder>(std::move(in))), name(std::move(called)) {}

  [[nodiscard]] fs::path path() const { return folder->path() / name; }
  /// Another name in the same folder.
  [[nodiscard]] FilePlace sibling(const fs::path& other) const {
    FilePlace place = *this;
    place.name = other;
    return place;
  }
  /// The status of a regular file of this name; absent when there is none.
  [[nodiscard]] std::optional<FileStatus> regularFile() const;
};

/// Whether a text names one entry of a folder: not empty, "." or "..", no "/".
[[nodiscard]] bool isSingleName(const std::string& name);

/// False when the root isn't there, or is another drive's.
[[nodiscard]] bool isInReach(const ArchiveRoot& root);

/// The regular file at an absolute path; absent when there is none. Below the
/// root nothing is reached through a symbolic link, or through "..".
[[nodiscard]] std::optional<FilePlace> findFile(const ArchiveRoot& root, const fs::path& path);

/// What a file that moves finds under the name that it is to get.
struct Encounter {
  enum class Kind { nothing, sameBytes, otherBytes };
  Kind kind = Kind::nothing;
  std::string movedHash;    ///< of the file that moves; empty unless both were read
  std::string presentHash;  ///< of the one that is there
};

/// Reads both, if both are there. A folder, a link or a special file in the way
/// is an error.
[[nodiscard]] Encounter compareForMove(const FilePlace& from, const FilePlace& to,
                                       const std::stop_token& stop);

/// Gives a file a name, in place of whatever file has it. A rename, on one file
/// system; else a verified copy that takes the name, then the removal. A path on
/// to itself is nothing to do. Both folders are flushed when this returns; their
/// parents aren't.
///
/// Killed at any step, the file is whole at one of the two places, and a
/// temporary copy may be left. After a failure the same holds. Across file
/// systems a source stays that has changed since it was read, or that turns out
/// to be the new file itself, seen through another mount; the log says so. Also
/// throws ArchiveError.
void moveFile(const FilePlace& from, const FilePlace& to, const std::stop_token& stop);

}  // namespace vaultmere
