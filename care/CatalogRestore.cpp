// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/CatalogRestore.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "catalog/CatalogError.h"
#include "catalog/StoreFile.h"
#include "intake/FileHash.h"
#include "platform/Calendar.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr const char* kPending = "restore-pending";
constexpr const char* kMaking = "restore-making";
constexpr const char* kReplaced = "catalogs-replaced";
constexpr const char* kUnfinished = "unfinished";
constexpr std::size_t kLatestKept = 3;
constexpr std::array<const char*, 3> kSideFiles{"-wal", "-shm", "-journal"};

/// Throws FileError when it can't be told.
bool isThere(const fs::path& path) {
  try {
    return OpenFolder::open(path.parent_path()).statusOf(path.filename()).has_value();
  } catch (const FileError& error) {
    if (error.code() == ENOENT) {
      return false;
    }
    throw;
  }
}

void removeTree(const fs::path& path) {
  std::error_code error;
  fs::remove_all(path, error);
}

fs::path withSuffix(const fs::path& store, const char* suffix) { return store.native() + suffix; }

/// The backup's store, opened beneath the root.
File openBackup(const ArchiveRoot& root) {
  try {
    return root.open()
        .folder(CatalogBackup::kFolder)
        .folder(CatalogBackup::kCatalog)
        .openForReading(CatalogBackup::kStore);
  } catch (const FileError& error) {
    if (error.code() == ENOENT) {
      throw CatalogBackup::NoBackup();
    }
    throw;
  }
}

void copyFlushed(File from, const fs::path& to, const std::stop_token& stop) {
  File out = File::createNew(to);
  readInChunks(from, stop, [&](std::span<const std::byte> chunk) { out.write(chunk); });
  out.sync();
  out.close();
}

/// The live store, and the folder into which it makes room for another.
///
/// Its files move to `unfinished` first, the side files before the store; that
/// folder gets a name of its own once another store is in the live one's place. So
/// what a killed process has left is known by whether that folder and the live
/// place have a store.
class LiveStore {
 public:
  explicit LiveStore(fs::path store)
      : store_(std::move(store)),
        data_(store_.parent_path()),
        replaced_(data_ / kReplaced),
        unfinished_(replaced_ / kUnfinished) {}

  /// Ends or takes back what a killed process has begun. Throws FileError.
  void recover(std::chrono::sys_seconds now) const {
    if (!isThere(unfinished_)) {
      return;
    }
    if (isThere(moved("")) && isThere(store_)) {
      keepUnfinished(now);
    } else {
      putBack();
    }
  }

  /// Throws FileError, and then the live store is as before.
  void replaceBy(const fs::path& staged, std::chrono::sys_seconds now) const {
    try {
      moveAway(now);
      renameFile(staged, store_);
    } catch (const FileError&) {
      putBackAfterFailure();
      throw;
    }
    try {
      syncDirectory(data_);
      if (isThere(unfinished_)) {
        keepUnfinished(now);
      }
      prune();
    } catch (const FileError& error) {  // the next start does the rest
      logLine(fmt::format("Vaultmere: the replaced catalog: {}", error.what()));
    }
  }

 private:
  [[nodiscard]] fs::path moved(const char* suffix) const {
    return withSuffix(unfinished_ / store_.filename(), suffix);
  }

  void moveAway(std::chrono::sys_seconds now) const {
    // Side files without a store belong to none, and never come back.
    const bool hasStore = isThere(store_);
    const fs::path folder = hasStore ? unfinished_ : replaced_ / nextName(now);
    std::vector<fs::path> files;
    for (const char* suffix : kSideFiles) {
      files.push_back(withSuffix(store_, suffix));
    }
    files.push_back(store_);
    std::erase_if(files, [](const fs::path& file) { return !isThere(file); });
    if (files.empty()) {
      return;
    }
    makePrivateFolder(replaced_);
    makePrivateFolder(folder);
    for (const fs::path& file : files) {
      renameFile(file, folder / file.filename());
    }
    syncDirectory(folder);
    syncDirectory(data_);
  }

  void putBack() const {
    if (isThere(moved(""))) {
      renameFile(moved(""), store_);
    }
    for (const char* suffix : kSideFiles) {
      if (isThere(moved(suffix)) && !isThere(withSuffix(store_, suffix))) {
        renameFile(moved(suffix), withSuffix(store_, suffix));
      }
    }
    syncDirectory(data_);
    std::error_code ignored;
    fs::remove(unfinished_, ignored);  // only if it is empty
  }

  void putBackAfterFailure() const {
    try {
      if (isThere(unfinished_)) {
        putBack();
      }
    } catch (const FileError& error) {
      logLine(fmt::format("Vaultmere: the catalog lies in “{}” — {}", unfinished_.string(),
                          error.what()));
    }
  }

  void keepUnfinished(std::chrono::sys_seconds now) const {
    renameFile(unfinished_, replaced_ / nextName(now));
    syncDirectory(replaced_);
  }

  /// The kept ones, by age: their names begin with a number.
  [[nodiscard]] std::vector<fs::path> kept() const {
    std::vector<fs::path> folders;
    if (isThere(replaced_)) {
      for (const DirectoryEntry& entry : listDirectory(replaced_)) {
        if (entry.kind == FileKind::directory && entry.path.filename() != kUnfinished) {
          folders.push_back(entry.path);
        }
      }
    }
    std::sort(folders.begin(), folders.end());
    return folders;
  }

  [[nodiscard]] std::string nextName(std::chrono::sys_seconds now) const {
    const auto present = kept();
    const int last =
        present.empty() ? 0 : std::atoi(present.back().filename().c_str());  // digits lead
    return fmt::format("{:06}-{}", last + 1, rfc3339(now).substr(0, 10));
  }

  static std::uintmax_t sizeOf(const fs::path& folder) {
    std::uintmax_t bytes = 0;
    for (const DirectoryEntry& entry : listDirectory(folder)) {
      if (const auto status = linkStatus(entry.path)) {
        bytes += static_cast<std::uintmax_t>(status->stamp.size);
      }
    }
    return bytes;
  }

  void prune() const {
    std::vector<fs::path> old = kept();
    if (old.size() <= kLatestKept) {
      return;
    }
    const auto largest = std::max_element(
        old.begin(), old.end(),
        [](const fs::path& a, const fs::path& b) { return sizeOf(a) < sizeOf(b); });
    const fs::path stays = *largest;
    old.resize(old.size() - kLatestKept);
    std::erase(old, stays);
    for (const fs::path& folder : old) {
      removeTree(folder);
    }
  }

  const fs::path store_;
  const fs::path data_;
  const fs::path replaced_;
  const fs::path unfinished_;
};

/// A store whose log can't be taken in keeps its files together instead. One that
/// is no catalog by itself isn't touched: opening it could drop its log.
void checkpointIfPossible(const fs::path& store) {
  if (!isThere(store)) {
    return;
  }
  try {
    if (schemaVersion(store) > 0) {
      checkpoint(store);
    }
  } catch (const CatalogError& error) {
    logLine(fmt::format("Vaultmere: {}", error.what()));
  }
}

}  // namespace

CatalogBackup::Info CatalogRestore::stage(const ArchiveRoot& root, const fs::path& liveStore,
                                          std::chrono::sys_seconds now,
                                          const std::stop_token& stop) {
  const fs::path data = liveStore.parent_path();
  File backup = openBackup(root);
  const fs::path pending = data / kPending;
  const fs::path making = data / kMaking;
  removeTree(pending);
  removeTree(making);
  try {
    makePrivateFolder(making);
    copyFlushed(std::move(backup), making / CatalogBackup::kStore, stop);
    requireCatalog(making / CatalogBackup::kStore);
    makePrivateFolder(pending);
    renameFile(making / CatalogBackup::kStore, pending / CatalogBackup::kStore);
    syncDirectory(pending);
  } catch (...) {
    removeTree(making);
    removeTree(pending);
    throw;
  }
  removeTree(making);
  return CatalogBackup::readInfo(root).value_or(CatalogBackup::Info{"—", now, 0, 1});
}

void CatalogRestore::applyPending(const fs::path& liveStore,
                                  std::chrono::sys_seconds now) noexcept {
  const fs::path pending = liveStore.parent_path() / kPending;
  const fs::path staged = pending / CatalogBackup::kStore;
  const LiveStore live(liveStore);
  try {
    live.recover(now);
    if (!isThere(staged)) {
      return;
    }
  } catch (const std::exception& error) {
    logLine(fmt::format("Vaultmere: the replaced catalog: {}", error.what()));
    return;
  }
  try {
    requireCatalog(staged);
    checkpointIfPossible(liveStore);
    live.replaceBy(staged, now);
    logLine("Vaultmere: applied pending catalog restore");
  } catch (const std::exception& error) {
    logLine(fmt::format("Vaultmere: pending restore failed — {}", error.what()));
  }
  removeTree(pending);
}

}  // namespace vaultmere
