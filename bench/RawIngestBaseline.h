// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <vector>

#include "bench/CameraCard.h"

namespace vaultmere::bench {

/// The least that a freeze has to do, in a bare loop over system calls and
/// libraries: hash the file, decode it to 64 pixels, copy it (temporary file,
/// flush, drop of its cached pages, hash of the copy, rename, flush of the same
/// folders as the archiver's) and commit one row durably.
class RawIngestBaseline {
 public:
  /// Works in `folder`, which must exist and be empty.
  explicit RawIngestBaseline(std::filesystem::path folder);

  /// Works on `width` pictures at a time. Throws what the first one that went
  /// wrong threw.
  void freeze(const std::vector<CardPicture>& card, unsigned width);

 private:
  void work(const std::vector<CardPicture>& card);
  void freezeOne(const CardPicture& picture);
  void record(const std::string& hash, const std::string& target);

  std::filesystem::path folder_;
  std::atomic<std::size_t> next_{0};
  std::mutex mutex_;           // guards the rest
  SQLite::Database database_;  // one row a commit
};

}  // namespace vaultmere::bench
