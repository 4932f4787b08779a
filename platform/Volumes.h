// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vaultmere {

/// What a file system is known by: its UUID, or type and source where it has
/// none (network shares, memory, overlays).
struct VolumeIdentity {
  std::string uuid;    ///< empty when unknown
  std::string type;    ///< "ext4", "exfat", "cifs", …
  std::string source;  ///< "/dev/sdb1", "//nas/photos", "tmpfs", …

  /// True when both are the same file system, as far as can be told: by their
  /// UUIDs when both have one, else by type and source. What is known by
  /// neither matches nothing.
  [[nodiscard]] bool matches(const VolumeIdentity& other) const;
  bool operator==(const VolumeIdentity&) const = default;
};

struct Volume {
  VolumeIdentity identity;
  std::filesystem::path mountPoint;
  /// The folder of the file system that is mounted there; "/" for all of it.
  std::filesystem::path mountedFolder = "/";
};

struct VolumeCapacity {
  std::int64_t total = 0;      ///< bytes
  std::int64_t available = 0;  ///< bytes that this user may use
  bool operator==(const VolumeCapacity&) const = default;
};

/// What is mounted now, in the order of mounting.
[[nodiscard]] std::vector<Volume> mountedVolumes();

/// The file system that holds an existing path, links followed; absent when it
/// can't be told. Touches the disk; may block on a dead network mount.
[[nodiscard]] std::optional<Volume> volumeOf(const std::filesystem::path& path);

/// Absent when the values can't be read or the total is below 1.
[[nodiscard]] std::optional<VolumeCapacity> capacityOf(const std::filesystem::path& path);

/// Calls back after each change of the mount table, on a thread of its own,
/// until destroyed; several changes may give one call. The destructor waits for
/// a running call, so the callback must not destroy the watcher. Where the
/// table can't be watched it stays silent.
class MountWatcher {
 public:
  explicit MountWatcher(std::function<void()> onChange);
  ~MountWatcher();
  MountWatcher(const MountWatcher&) = delete;
  MountWatcher& operator=(const MountWatcher&) = delete;

 private:
  struct Watch;
  std::unique_ptr<Watch> watch_;
};

}  // namespace vaultmere
