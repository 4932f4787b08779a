// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/Descriptor.h"
#include "platform/Files.h"

namespace vaultmere {

/// Keeps a file from being opened for writing, for as long as this lives: who
/// tries waits in open(2). The kernel limits that time (45 s by default).
///
/// A lease is granted on local file systems only, and to the file's owner. What
/// a network share or FUSE says about leases is not asked, since it means
/// nothing. Any thread.
class FileLease {
 public:
  /// Opens the file, links followed. Never fails: see the questions below.
  explicit FileLease(const fs::path& path);

  /// True when some process is known to have the file open for writing. False
  /// also where the system can't tell.
  [[nodiscard]] bool isRefusedByWriter() const noexcept { return isRefusedByWriter_; }
  /// True when somebody waits to write since the lease was granted.
  [[nodiscard]] bool isWanted() const noexcept;

 private:
  Descriptor descriptor_;
  bool isHeld_ = false;
  bool isRefusedByWriter_ = false;
};

/// Takes and gives back a lease: FileLease::isRefusedByWriter.
[[nodiscard]] bool isBeingWritten(const fs::path& path);

}  // namespace vaultmere
