// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/SettingsFile.h"

#include <cerrno>
#include <utility>

#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

/// Far more than the settings ever take.
constexpr std::size_t kMaxFileSize = std::size_t{16} << 20U;

}  // namespace

SettingsFile::SettingsFile(const std::filesystem::path& folder) : file_(folder / "defaults.json") {
  load();
}

void SettingsFile::load() {
  try {
    auto values = nlohmann::json::parse(readFile(file_, kMaxFileSize), nullptr, false);
    if (values.is_object()) {
      values_ = std::move(values);
    } else {
      keepAside("not a JSON object");
    }
  } catch (const FileError& error) {
    if (error.code() != ENOENT) {
      keepAside(error.what());
    }
  }
}

void SettingsFile::keepAside(const std::string& reason) const {
  fs::path aside = file_;
  aside += ".unreadable-" + newUuid();
  try {
    renameFile(file_, aside);
    logLine("Vaultmere: settings can't be read (" + reason + "), kept aside as " +
            displayPath(aside));
  } catch (const FileError& error) {
    logLine("Vaultmere: settings can't be read (" + reason + ") — " + error.what());
  }
}

const nlohmann::json& SettingsFile::value(const std::string& key) const {
  static const nlohmann::json missing;
  const auto found = values_.find(key);
  return found == values_.end() ? missing : *found;
}

void SettingsFile::set(const std::string& key, nlohmann::json value) {
  values_[key] = std::move(value);
  save();
}

void SettingsFile::remove(const std::string& key) {
  if (values_.erase(key) > 0) {
    save();
  }
}

void SettingsFile::save() const {
  try {
    makePrivateFolder(file_.parent_path());
    // Bytes that aren't UTF-8 can come in with a typed text; they must not
    // keep the other choices from being stored.
    writeFileAtomically(file_,
                        values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
  } catch (const FileError& error) {
    logLine(std::string("Vaultmere: settings can't be saved — ") + error.what());
  }
}

}  // namespace vaultmere
