// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <stop_token>
#include <vector>

#include "app/DiagnosticEnvironment.h"
#include "catalog/VaultmereCatalog.h"
#include "media/MediaService.h"
#include "media/Vision.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Runs the real pipeline over a folder, twice, into the real catalog, and
/// prints what became of each file as log lines that other programs read:
/// "SELFTEST_BEGIN …", "SELFTEST_RESULT …", "SELFTEST_PHOTO …",
/// "SELFTEST_END …". The order of their fields never changes.
struct SelfTest {
  std::shared_ptr<const VaultmereCatalog> catalog;
  std::vector<std::filesystem::path> protectedFolders;
  MediaService& media;
  const Vision* vision = nullptr;
  std::stop_token stop;  ///< ends the run, without further lines

  /// Starts the runs that the variables ask for, on the pool.
  void tryHooks(const DiagnosticEnvironment& variables, ThreadPool& pool) const;

  /// Freezes `folder` into `archive`, which is made when missing. Blocks.
  void run(const std::string& folder, const std::string& archive) const;
};

}  // namespace vaultmere
