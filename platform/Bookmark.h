// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "platform/Volumes.h"

namespace vaultmere {

/// A durable reference to a folder, which finds it again when its drive is
/// mounted elsewhere and knows it from an empty mount point.
///
/// Stored as an object with `path` and, where known, `volume` (`uuid`, `type`,
/// `source`) and `below`, the path below the file system's own root. `path`
/// alone is enough. Bytes that aren't UTF-8 stand percent-encoded under
/// `pathBytes` and `belowBytes`, beside a readable `path` and `below`. The names
/// never change.
struct Bookmark {
  std::filesystem::path path;  ///< where the folder was last seen; absolute
  std::optional<VolumeIdentity> volume;
  /// Relative to the root of the file system; empty for that root itself, and
  /// without a `volume`.
  std::filesystem::path below;

  /// A bookmark of an existing folder, links in its path kept as they are.
  /// Touches the disk. Throws FileError (ENOENT, ENOTDIR).
  [[nodiscard]] static Bookmark of(const std::filesystem::path& folder);
  /// Absent for anything without a usable `path`. A `volume` that can't be used
  /// counts as unknown.
  [[nodiscard]] static std::optional<Bookmark> fromJson(const nlohmann::json& json);
  [[nodiscard]] nlohmann::json toJson() const;

  /// Where the folder is now: at `path` when the right file system is there,
  /// else below wherever that file system is mounted. Absent when its drive
  /// isn't there or the folder is gone. Touches the disk; may block on a dead
  /// network mount.
  [[nodiscard]] std::optional<std::filesystem::path> resolve() const;

  /// This bookmark once `resolve` has given `found`: with that path, and with
  /// what it didn't know of the file system. Touches the disk.
  [[nodiscard]] Bookmark completed(const std::filesystem::path& found) const;

  bool operator==(const Bookmark&) const = default;
};

}  // namespace vaultmere
