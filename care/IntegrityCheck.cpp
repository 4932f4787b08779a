// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/IntegrityCheck.h"

#include <fmt/format.h>

#include <iterator>
#include <memory_resource>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "care/StorageFolders.h"
#include "catalog/ArchivePlaces.h"
#include "catalog/CatalogError.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::int64_t kProgressStep = 10'000;

/// Many texts that are only ever added: a text costs little more than its bytes.
class TextSet {
 public:
  /// Gives the text that is kept.
  std::string_view insert(std::string_view text) { return *texts_.emplace(text).first; }
  [[nodiscard]] bool contains(std::string_view text) const { return texts_.contains(text); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>{}(text);
    }
  };
  std::pmr::monotonic_buffer_resource memory_;
  std::pmr::unordered_set<std::pmr::string, Hash, std::equal_to<>> texts_{&memory_};
};

/// A file's name without its last extension.
std::string_view stemOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == 0 ? name : name.substr(0, dot);
}

bool counts(std::string_view name) { return !name.starts_with('.') && !name.ends_with(".tmp"); }

class Check {
 public:
  Check(const fs::path& root, const std::stop_token& stop,
        const std::function<void(const IntegrityProgress&)>& progress)
      : root_(root.has_filename() || !root.has_relative_path() ? root : root.parent_path()),
        stop_(stop),
        progress_(progress) {}

  /// The files first: one that arrives meanwhile has its row by the time when the
  /// rows are read, and is asked for by its path.
  IntegrityReport run(CatalogContext& catalog) {
    walk();
    readRows(catalog);
    for (ArchivePlace& place : unseen_) {
      if (stop_.stop_requested()) {
        break;
      }
      ask(place);
    }
    for (const std::string_view file : files_) {
      const std::string_view name = file.substr(file.rfind('/') + 1);
      if (!ids_.contains(stemOf(name))) {
        report_.orphans.push_back(
            {validUtf8(stemOf(name)), validUtf8(name), displayPath(root_ / file)});
      }
    }
    return std::move(report_);
  }

 private:
  void walk() {
    std::vector<std::string> waiting{""};
    while (!waiting.empty() && !stop_.stop_requested()) {
      const std::string folder = std::move(waiting.back());
      waiting.pop_back();
      std::vector<std::string> below;
      try {
        list(folder, below);
      } catch (const FileError& error) {
        logLine(fmt::format("Vaultmere: integrity check: folder skipped — {}", error.what()));
        report_.unreadable.push_back(validUtf8(error.what()));
      }
      std::move(below.rbegin(), below.rend(), std::back_inserter(waiting));
      tell();
    }
  }

  /// Takes the files of a folder, named by its path below the root, and gives the
  /// folders in it.
  void list(const std::string& folder, std::vector<std::string>& below) {
    const std::string prefix = folder.empty() ? "" : folder + "/";
    visitDirectory(folder.empty() ? root_ : root_ / folder,
                   [&](std::string_view name, FileKind kind) {
                     if (kind == FileKind::regular) {
                       addFile(prefix, name);
                     } else if (kind == FileKind::directory) {
                       addFolder(prefix, name, below);
                     }
                     return !stop_.stop_requested();
                   });
  }

  void addFile(const std::string& prefix, std::string_view name) {
    std::string path = prefix;
    path += name;
    const std::string_view kept = seen_.insert(path);
    if (counts(name)) {
      files_.push_back(kept);
      ++report_.diskFiles;
    }
  }

  void addFolder(const std::string& prefix, std::string_view name,
                 std::vector<std::string>& below) const {
    std::string path = prefix;
    path += name;
    if (isStorageFolder(name)) {
      logLine("Vaultmere: integrity check: the storage's own folder left out — " +
              displayPath(root_ / path));
    } else {
      below.push_back(std::move(path));
    }
  }

  void readRows(CatalogContext& catalog) {
    catalog.perform([&](Connection& connection) {
      const Interruptible interruptible(connection, stop_);
      try {
        forEachArchivePlace(connection, [&](ArchivePlace&& place) {
          ids_.insert(place.id);
          ++report_.dbEntries;
          if (!wasSeen(place)) {
            unseen_.push_back(std::move(place));
          }
          if (report_.dbEntries % kProgressStep == 0) {
            tell();
          }
        });
      } catch (const CatalogError& error) {
        logLine(fmt::format("Vaultmere: integrity check: {}", error.what()));
      }
    });
    tell();
  }

  [[nodiscard]] bool wasSeen(const ArchivePlace& place) const {
    if (seen_.contains(place.targetPath)) {
      return true;
    }
    const std::string_view path = place.archivePath ? *place.archivePath : std::string_view();
    const std::string& root = root_.native();
    return path.size() > root.size() && path.starts_with(root) && path[root.size()] == '/' &&
           seen_.contains(path.substr(root.size() + 1));
  }

  /// For what the walk hasn't seen: behind a link, elsewhere, or new.
  void ask(ArchivePlace& place) {
    std::vector<std::string> candidates;
    if (place.archivePath && !place.archivePath->empty()) {
      candidates.push_back(*place.archivePath);
    }
    if (!place.targetPath.empty()) {
      std::string path = root_.native() + "/" + place.targetPath;
      if (candidates.empty() || candidates.front() != path) {
        candidates.push_back(std::move(path));
      }
    }
    for (const std::string& candidate : candidates) {
      const auto status =
          candidate.find('\0') == std::string::npos ? fileStatus(candidate) : std::nullopt;
      if (status && status->kind == FileKind::regular) {
        return;
      }
    }
    report_.missing.push_back(
        {place.id,
         place.originalFilename.empty() ? std::move(place.id) : std::move(place.originalFilename),
         candidates.empty() ? std::string() : validUtf8(candidates.front())});
  }

  void tell() const {
    if (progress_) {
      progress_({report_.diskFiles, report_.dbEntries});
    }
  }

  const fs::path root_;
  const std::stop_token& stop_;
  const std::function<void(const IntegrityProgress&)>& progress_;
  IntegrityReport report_;
  TextSet seen_;                         ///< all regular files, by their paths below the root
  std::vector<std::string_view> files_;  ///< of `seen_`, those that count, in the order of the walk
  TextSet ids_;                          ///< of all rows
  std::vector<ArchivePlace> unseen_;     ///< rows whose file isn't among `seen_`
};

/// What the root is now; absent when there is none, or one that isn't the archive's.
std::optional<FileStamp> stampOf(const ArchiveRoot& root) {
  try {
    return root.open().status().stamp;
  } catch (const FileError& error) {
    logLine(fmt::format("Vaultmere: integrity check: {}", error.what()));
    return std::nullopt;
  }
}

}  // namespace

std::optional<IntegrityReport> checkIntegrity(
    CatalogContext& catalog, const ArchiveRoot& root, const std::stop_token& stop,
    const std::function<void(const IntegrityProgress&)>& progress) {
  const auto before = stampOf(root);
  if (!before && root.acceptsDevice) {
    return std::nullopt;
  }
  IntegrityReport report = Check(root.path, stop, progress).run(catalog);
  const auto after = before ? stampOf(root) : before;
  const bool isSame = !before || (after && after->sameFile(*before));
  if (!isSame || stop.stop_requested()) {
    return std::nullopt;
  }
  return report;
}

}  // namespace vaultmere
