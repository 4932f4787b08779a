// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "catalog/CatalogWriter.h"
#include "intake/Archiver.h"
#include "intake/FolderScan.h"
#include "intake/GroupAnalysis.h"

namespace vaultmere {

/// What became of a group. The texts go into the import log: never change them.
enum class IngestOutcome { inserted, duplicate, skipped, failed };
[[nodiscard]] const char* outcomeText(IngestOutcome outcome);

/// The road of one group: analysed, asked through the space gate, copied with
/// verification, recorded, and only then, when told to, removed at its source.
///
/// A value that holds no state of its own: any thread, several groups at once;
/// only the writes queue up. Every failure of a group is a result. Running
/// again after a failure or a crash heals: name and row follow from the bytes.
class Ingestor {
 public:
  struct Options {
    CatalogWriter writer;
    std::filesystem::path archiveRoot;
    /// See Archiver::Options.
    std::function<bool(dev_t device)> acceptsDevice;
    /// Whether a copy of so many bytes may go ahead; null means always.
    std::function<bool(std::int64_t bytes)> gate;
    /// AppDirectories besides the archive that are never a source: the program's data.
    std::vector<std::filesystem::path> protectedFolders;
    /// Looks at the pictures; null means nobody does.
    const Vision* vision = nullptr;
    /// Ends groups at once, also half-way through a copy: for the process's end.
    std::stop_token stop;
  };

  struct Result {
    std::string filename;  ///< last path component of the primary
    IngestOutcome outcome = IngestOutcome::failed;
    std::optional<AnalyzedPhoto> photo;  ///< for `inserted` and `duplicate`
    std::optional<std::string> error;    ///< for the other two
  };

  explicit Ingestor(Options options);

  /// Takes one group down the whole road; never throws. With `deleteSource`
  /// the group's files are removed after success, unless they have been
  /// written since they were read, lie in the archive, or are the archived
  /// file itself; one that can't be removed stays. `meta` comes from the photo
  /// library, or is null.
  [[nodiscard]] Result process(const AssetGroup& group, bool deleteSource,
                               const PhotosMeta* meta = nullptr) const;

  /// Takes a whole tree down the road, one group after the other, without its
  /// junk. A folder that can't be listed adds nothing. A stop ends it early.
  [[nodiscard]] std::vector<Result> ingestFolder(const std::filesystem::path& folder,
                                                 bool deleteSource) const;

  /// The folders that scans for this ingestor leave out, as they are now.
  [[nodiscard]] ProtectedFolders protectedFolders() const;
  /// Their paths.
  [[nodiscard]] std::vector<std::filesystem::path> protectedPaths() const;

 private:
  Result archiveAndRecord(const AssetGroup& group, AnalyzedPhoto photo, bool sourcesGo) const;
  void removeSources(const AssetGroup& group, const GroupAnalysis& analysis,
                     bool motionMayGo) const;
  [[nodiscard]] bool isOnDestination(dev_t device) const;
  bool removeSource(const std::filesystem::path& source, const std::optional<FileStamp>& asRead,
                    const std::filesystem::path& archived) const;

  Options options_;
  Archiver archiver_;
};

}  // namespace vaultmere
