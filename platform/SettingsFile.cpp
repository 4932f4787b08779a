// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/SettingsFile.h"

#include <cerrno>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

/// Far more than the settings ever take.
constexpr std::size_t kMaxFileSize = std::size_t{16} << 20U;

/// Bytes that aren't UTF-8 can come in with a typed text; they must not keep the
/// other choices from being stored.
std::string textOf(const nlohmann::json& value) {
  return value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

void keepAside(const fs::path& file, const std::string& reason) {
  fs::path aside = file;
  aside += ".unreadable-" + newUuid();
  try {
    renameFile(file, aside);
    logLine("Vaultmere: settings can't be read (" + reason + "), kept aside as " +
            displayPath(aside));
  } catch (const FileError& error) {
    logLine("Vaultmere: settings can't be read (" + reason + ") — " + error.what());
  }
}

void writeSettings(const fs::path& file, const std::string& text) {
  try {
    makePrivateFolder(file.parent_path());
    writeFileAtomically(file, text);
  } catch (const FileError& error) {
    logLine(std::string("Vaultmere: settings can't be saved — ") + error.what());
  }
}

}  // namespace

struct SettingsFile::Writer {
  Writer(fs::path theFile, ThreadPool& pool) : file(std::move(theFile)), queue(pool) {}

  /// Writes the latest text, unless it is written already. In the queue's turn.
  void writePending() {
    std::optional<std::string> text;
    {
      const std::lock_guard lock(mutex);
      text = std::exchange(pending, std::nullopt);
    }
    if (text) {
      writeSettings(file, *text);
    }
  }

  const fs::path file;
  SerialQueue queue;
  std::mutex mutex;
  std::optional<std::string> pending;  // guarded by mutex
};

SettingsFile::SettingsFile(const std::filesystem::path& folder, ThreadPool& pool)
    : writer_(std::make_shared<Writer>(folder / "defaults.json", pool)) {
  load(writer_->file);
}

SettingsFile::~SettingsFile() { flush(); }

void SettingsFile::load(const fs::path& file) {
  try {
    auto values = nlohmann::json::parse(readFile(file, kMaxFileSize), nullptr, false);
    if (values.is_object()) {
      values_ = std::move(values);
    } else {
      keepAside(file, "not a JSON object");
    }
  } catch (const FileError& error) {
    if (error.code() != ENOENT) {
      keepAside(file, error.what());
    }
  }
}

const nlohmann::json& SettingsFile::value(const std::string& key) const {
  static const nlohmann::json missing;
  const auto found = values_.find(key);
  return found == values_.end() ? missing : *found;
}

void SettingsFile::set(const std::string& key, nlohmann::json value) {
  // As texts: 10 and 10.0 are equal numbers, but not the same stored value.
  const auto found = values_.find(key);
  if (found == values_.end() || textOf(*found) != textOf(value)) {
    values_[key] = std::move(value);
    save();
  }
}

void SettingsFile::remove(const std::string& key) {
  if (values_.erase(key) > 0) {
    save();
  }
}

void SettingsFile::save() {
  const std::lock_guard lock(writer_->mutex);
  if (!std::exchange(writer_->pending, textOf(values_))) {
    writer_->queue.async([writer = writer_] { writer->writePending(); });
  }
}

void SettingsFile::flush() {
  writer_->queue.perform([this] { writer_->writePending(); });
}

}  // namespace vaultmere
