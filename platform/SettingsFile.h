// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

namespace vaultmere {

/// The user's stored choices: one JSON object in `defaults.json` (0600), read
/// at construction and replaced whole at each change. One thread.
///
/// A file that can't be read as a JSON object is kept aside as
/// "defaults.json.unreadable-" and a UUID, with a log line, and the store
/// starts empty. Keys that nobody asks for stay as they are.
class SettingsFile {
 public:
  /// Reads `folder`/defaults.json; makes nothing. The folder (0700) comes into
  /// being with the first change.
  explicit SettingsFile(const std::filesystem::path& folder);

  /// The value under a key; null when there is none.
  [[nodiscard]] const nlohmann::json& value(const std::string& key) const;
  /// Stores and writes at once. A failed write is logged with the system's
  /// words; the value holds for this process all the same.
  void set(const std::string& key, nlohmann::json value);
  void remove(const std::string& key);

 private:
  void load();
  void keepAside(const std::string& reason) const;
  void save() const;

  const std::filesystem::path file_;
  nlohmann::json values_ = nlohmann::json::object();
};

}  // namespace vaultmere
