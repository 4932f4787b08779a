// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/CatalogBackup.h"

#include <fmt/format.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "catalog/CatalogError.h"
#include "catalog/StoreFile.h"
#include "intake/ArchiveError.h"
#include "intake/VerifiedCopy.h"
#include "platform/BeneathRoot.h"
#include "platform/Calendar.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr std::size_t kManifestLimit = 64 * 1024;
constexpr mode_t kReadable = 0444;
constexpr mode_t kOwner = 0600;
/// What isn't in its place yet; see `clear`.
constexpr std::string_view kNew = ".new";
constexpr std::string_view kUnfinishedCopy = ".tmp";

/// A folder beside the live store for what is being made, as long as this lives.
class WorkFolder {
 public:
  explicit WorkFolder(fs::path path) : path_(std::move(path)) {
    remove();
    makePrivateFolder(path_);
  }
  ~WorkFolder() { remove(); }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  [[nodiscard]] fs::path operator/(const char* name) const { return path_ / name; }

 private:
  void remove() const {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path path_;
};

/// A user who may read the archive's root may read its backup, from another computer
/// too.
void setMode(const fs::path& path, mode_t mode) {
  std::error_code ignored;  // file systems without modes
  fs::permissions(path, static_cast<fs::perms>(mode), ignored);
}

OpenFolder makeReadableFolder(const OpenFolder& parent, const char* name, mode_t mode) {
  if (parent.statusOf(name)) {
    return parent.folder(name);
  }
  OpenFolder made = parent.makeFolder(name);
  setMode(made.path(), mode);
  parent.sync();
  return made;
}

std::string newName(const std::string& name) { return "." + name + std::string(kNew); }

/// Removes what an earlier backup has left that didn't come to its end.
void clear(const OpenFolder& folder) {
  for (const DirectoryEntry& entry : listDirectory(folder.path())) {
    const std::string name = entry.path.filename().native();
    if (entry.kind == FileKind::regular && name.starts_with('.') &&
        (name.ends_with(kNew) || name.ends_with(kUnfinishedCopy))) {
      folder.remove(name);
    }
  }
}

/// Puts a copy into a folder, under the new name.
void copyNew(const fs::path& file, const OpenFolder& folder, const std::string& name,
             const std::stop_token& stop) {
  if (!verifiedCopy(file, folder, newName(name), std::nullopt, stop)) {
    throw FileError("create", folder.path() / newName(name), EEXIST);
  }
}

/// Puts the new files of a folder in the places of the old ones, in this order.
void replace(const OpenFolder& folder, const std::vector<std::string>& names) {
  for (const char* suffix : {"-wal", "-shm", "-journal"}) {  // of the old one, if it was opened
    const std::string side = std::string(CatalogBackup::kStore) + suffix;
    if (folder.statusOf(side)) {
      folder.remove(side);
    }
  }
  for (const std::string& name : names) {
    folder.renameInto(newName(name), folder, name);
  }
  folder.sync();
}

/// The photos in the backup of a folder; absent when there is none or it is no catalog.
std::optional<std::int64_t> photosOf(const OpenFolder& folder) {
  const auto status = folder.statusOf(CatalogBackup::kStore);
  if (!status || status->kind != FileKind::regular) {
    return std::nullopt;
  }
  try {
    return photosIn(folder.path() / CatalogBackup::kStore);
  } catch (const CatalogError& error) {
    logLine(fmt::format("Vaultmere: backup on the archive: {}", error.what()));
    return std::nullopt;
  }
}

/// The work of one backup.
class Backup {
 public:
  Backup(const OpenFolder& root, const fs::path& data, const std::stop_token& stop)
      : stop_(stop),
        local_(data / "backup-making"),
        rootMode_(root.status().permissions),
        own_(makeReadableFolder(root, CatalogBackup::kFolder, rootMode_)) {}

  void makeLocal(CatalogContext& context, const CatalogBackup::Info& info) {
    const fs::path store = local_ / CatalogBackup::kStore;
    context.perform([&](Connection& connection) {
      const Snapshot snapshot(connection);
      photos_ = photosIn(connection);
      connection.backUpTo(store, stop_);
    });
    requireCatalog(store);
    if (photosIn(store) != photos_) {
      throw CatalogError(fmt::format("“{}” doesn't hold the catalog's photos", store.string()));
    }
    writeFileAtomically(local_ / CatalogBackup::kManifest, CatalogBackup::manifestText(info));
    for (const char* name : {CatalogBackup::kStore, CatalogBackup::kManifest}) {
      setMode(local_ / name, (rootMode_ & kReadable) | kOwner);
    }
  }

  void copyToArchive() {
    const OpenFolder folder = makeReadableFolder(own_, CatalogBackup::kCatalog, rootMode_);
    clear(folder);
    if (own_.statusOf(CatalogBackup::kCatalogBefore)) {
      clear(own_.folder(CatalogBackup::kCatalogBefore));
    }
    try {
      copyNew(local_ / CatalogBackup::kStore, folder, CatalogBackup::kStore, stop_);
      copyNew(local_ / CatalogBackup::kManifest, folder, CatalogBackup::kManifest, stop_);
      keepLarger(folder);
      replace(folder, {CatalogBackup::kStore, CatalogBackup::kManifest});
    } catch (...) {
      clearQuietly(folder);
      throw;
    }
  }

 private:
  /// Keeps the backup that is there if the new one doesn't stand for it.
  void keepLarger(const OpenFolder& folder) {
    const auto status = folder.statusOf(CatalogBackup::kStore);
    if (!status) {
      return;
    }
    if (status->kind != FileKind::regular) {
      throw FileError("replace", folder.path() / CatalogBackup::kStore, EEXIST);
    }
    const auto present = photosOf(folder);
    if (present && photos_ >= *present && (*present == 0 || sharesPhotosWith(folder))) {
      return;
    }
    const OpenFolder before = makeReadableFolder(own_, CatalogBackup::kCatalogBefore, rootMode_);
    const auto kept = photosOf(before);
    if (kept && *kept >= present.value_or(0)) {
      return;
    }
    logLine(
        fmt::format("Vaultmere: the backup on the archive is kept in “{}”, since the new one "
                    "doesn't hold its photos",
                    before.path().string()));
    if (present) {
      copyPair(folder, before);
    } else {
      movePair(folder, before);
    }
  }

  [[nodiscard]] bool sharesPhotosWith(const OpenFolder& folder) const {
    return sharePhotos(local_ / CatalogBackup::kStore, folder.path() / CatalogBackup::kStore);
  }

  /// For what can't be read as a catalog, and perhaps not at all.
  static void movePair(const OpenFolder& folder, const OpenFolder& before) {
    for (const char* name : {CatalogBackup::kManifest, CatalogBackup::kStore}) {
      if (folder.statusOf(name)) {
        folder.renameInto(name, before, name);
      }
    }
    before.sync();
  }

  /// Until the new one stands, the old one stays in its place.
  void copyPair(const OpenFolder& folder, const OpenFolder& before) const {
    clear(before);
    try {
      std::vector<std::string> names;
      for (const char* name : {CatalogBackup::kStore, CatalogBackup::kManifest}) {
        if (const auto status = folder.statusOf(name);
            status && status->kind == FileKind::regular) {
          copyNew(folder.path() / name, before, name, stop_);
          names.emplace_back(name);
        }
      }
      if (before.statusOf(CatalogBackup::kManifest)) {
        before.remove(CatalogBackup::kManifest);  // it would tell of another store
      }
      replace(before, names);
    } catch (...) {
      clearQuietly(before);
      throw;
    }
  }

  static void clearQuietly(const OpenFolder& folder) {
    try {
      clear(folder);
    } catch (const FileError& error) {
      logLine(fmt::format("Vaultmere: unfinished backup left — {}", error.what()));
    }
  }

  const std::stop_token& stop_;
  const WorkFolder local_;
  const mode_t rootMode_;
  const OpenFolder own_;
  std::int64_t photos_ = 0;  ///< in the snapshot
};

}  // namespace

CatalogBackup::Info CatalogBackup::backUp(const VaultmereCatalog& catalog, const ArchiveRoot& root,
                                          std::int64_t photoCount, std::chrono::sys_seconds now,
                                          const std::stop_token& stop) {
  const std::string version = VAULTMERE_VERSION;
  const Info info{version.empty() ? "—" : version, now, photoCount, 1};
  Backup backup(root.open(), catalog.store().parent_path(), stop);
  backup.makeLocal(*catalog.newBackgroundContext(), info);
  backup.copyToArchive();
  return info;
}

std::optional<CatalogBackup::Info> CatalogBackup::readInfo(const ArchiveRoot& root) {
  try {
    const OpenFolder folder = root.open().folder(kFolder).folder(kCatalog);
    File file = folder.openForReading(kManifest);
    std::string text(kManifestLimit, '\0');
    text.resize(file.read(std::as_writable_bytes(std::span(text))));
    return manifestFromText(text);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

std::string CatalogBackup::manifestText(const Info& info) {
  const nlohmann::json json{{"appVersion", info.appVersion},
                            {"date", rfc3339(info.date)},
                            {"photoCount", info.photoCount},
                            {"schema", info.schema}};
  return json.dump(2);
}

std::optional<CatalogBackup::Info> CatalogBackup::manifestFromText(const std::string& text) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  const auto has = [&](const char* key, auto&& isOfType) {
    return json.is_object() && json.contains(key) && isOfType(json[key]);
  };
  const auto isText = [](const auto& value) { return value.is_string(); };
  const auto isNumber = [](const auto& value) { return value.is_number_integer(); };
  if (!has("appVersion", isText) || !has("date", isText) || !has("photoCount", isNumber) ||
      !has("schema", isNumber)) {
    return std::nullopt;
  }
  const auto date = parseInternetSeconds(json["date"].get<std::string>());
  return date ? std::optional(Info{json["appVersion"], *date, json["photoCount"], json["schema"]})
              : std::nullopt;
}

}  // namespace vaultmere
