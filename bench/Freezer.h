// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>

#include "catalog/VaultmereCatalog.h"
#include "intake/IngestCoordinator.h"

namespace vaultmere::bench {

/// The program's pipeline from dropped files to rows, with an empty archive and an
/// empty catalog and the threads that the program would have.
class Freezer {
 public:
  /// Works in `folder`, which must exist and be empty.
  explicit Freezer(const std::filesystem::path& folder);
  ~Freezer();
  Freezer(const Freezer&) = delete;
  Freezer& operator=(const Freezer&) = delete;

  /// Drops a file or folder and waits for the batch's end. Throws
  /// std::runtime_error unless it brings in exactly `count` items.
  void freeze(const std::filesystem::path& dropped, std::size_t count);

 private:
  MediaService media_;
  ThreadPool pool_;
  TurnQueue queue_;
  std::unique_ptr<VaultmereCatalog> catalog_;
  std::shared_ptr<IngestCoordinator> coordinator_;
};

}  // namespace vaultmere::bench
