// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/ThreadPool.h"

namespace vaultmere {

/// The user's stored choices: one JSON object in `defaults.json` (0600), read at
/// construction and replaced whole after a change, by a serial worker on the
/// pool. Changes that come while the file is written are written together.
/// One thread; the pool outlives it.
///
/// A file that can't be read as a JSON object is kept aside as
/// "defaults.json.unreadable-" and a UUID, with a log line, and the store
/// starts empty. Keys that nobody asks for stay as they are.
class SettingsFile {
 public:
  /// Reads `folder`/defaults.json; makes nothing. The folder (0700) comes into
  /// being with the first change.
  SettingsFile(const std::filesystem::path& folder, ThreadPool& pool);
  /// Flushes.
  ~SettingsFile();
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;

  /// The value under a key; null when there is none.
  [[nodiscard]] const nlohmann::json& value(const std::string& key) const;
  /// Holds at once, and is written soon; a value that stands there already
  /// writes nothing. A failed write is logged with the system's words, and the
  /// value holds for this process all the same.
  void set(const std::string& key, nlohmann::json value);
  void remove(const std::string& key);

  /// Blocks until all changes so far are written, or have failed to be.
  void flush();

 private:
  struct Writer;
  void load(const std::filesystem::path& file);
  void save();

  nlohmann::json values_ = nlohmann::json::object();
  const std::shared_ptr<Writer> writer_;  // shared with its tasks on the pool
};

}  // namespace vaultmere
