// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DefaultsStore.h"

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

DefaultsStore::DefaultsStore(const std::filesystem::path& folder)
    : file_(folder / "defaults.json") {
  load();
}

void DefaultsStore::load() {
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

void DefaultsStore::keepAside(const std::string& reason) const {
  fs::path aside = file_;
  aside += ".unreadable-" + newUuid();
  try {
    renameFile(file_, aside);
    nsLog("Vaultmere: settings can't be read (" + reason + "), kept aside as " +
          displayPath(aside));
  } catch (const FileError& error) {
    nsLog("Vaultmere: settings can't be read (" + reason + ") — " + error.what());
  }
}

const nlohmann::json& DefaultsStore::value(const std::string& key) const {
  static const nlohmann::json missing;
  const auto found = values_.find(key);
  return found == values_.end() ? missing : *found;
}

void DefaultsStore::set(const std::string& key, nlohmann::json value) {
  values_[key] = std::move(value);
  save();
}

void DefaultsStore::remove(const std::string& key) {
  if (values_.erase(key) > 0) {
    save();
  }
}

void DefaultsStore::save() const {
  try {
    makePrivateFolder(file_.parent_path());
    // Bytes that aren't UTF-8 can come in with a typed text; they must not
    // keep the other choices from being stored.
    writeFileAtomically(file_,
                        values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
  } catch (const FileError& error) {
    nsLog(std::string("Vaultmere: settings can't be saved — ") + error.what());
  }
}

}  // namespace vaultmere
