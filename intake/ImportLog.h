// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MainThread.h"
#include "platform/SerialQueue.h"

namespace vaultmere {

/// One line of the import log. The keys of the JSON object are the members'
/// names: never change them.
struct ImportLogEntry {
  std::string id;                     ///< a UUID, new for each entry
  TimePoint date;                     ///< whole seconds
  std::string kind;                   ///< "inserted", "duplicate", "skipped", "failed", "junk"
  std::string filename;               ///< the source's last path component
  std::string path;                   ///< the source's full path
  std::optional<std::string> detail;  ///< why
  std::string source;                 ///< "intake", "inbox" or "stream"

  bool operator==(const ImportLogEntry&) const = default;
};

/// What happened to each file that came in, also to those that left no row: a
/// file of one JSON object a line. Informational: nothing reads it back to decide.
///
/// A serial worker: each call waits for its turn, from any thread, and none
/// ever fails. Lines that can't be written are lost.
class ImportLog {
 public:
  ImportLog(std::filesystem::path file, ThreadPool& pool);

  /// Adds the entries in one write.
  void append(const std::vector<ImportLogEntry>& entries);
  /// The entries in the last `limit` lines, newest first. Lines that don't
  /// decode are passed over.
  [[nodiscard]] std::vector<ImportLogEntry> read(std::size_t limit);
  /// Removes the file.
  void clear();

 private:
  const std::filesystem::path file_;
  SerialQueue queue_;
};

}  // namespace vaultmere
