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
#include "intake/SourceRemover.h"

namespace vaultmere {

/// What became of a group. The texts go into the import log: never change them.
/// A cancelled group has been ended by the program's end: it leaves no trace, in
/// the archive or in the log.
enum class IngestOutcome { inserted, duplicate, skipped, failed, cancelled };
[[nodiscard]] const char* outcomeText(IngestOutcome outcome);

/// The pipeline of one group: analysed, asked through the space gate, copied
/// with verification, recorded, and only then, when told to, removed at its
/// source.
///
/// A value that holds no state of its own: any thread, several groups at once;
/// only the writes queue up. Every failure of a group is a result. Running
/// again after a failure or a crash heals: name and row follow from the bytes.
class Ingestor {
 public:
  struct Options {
    ArchiveRoot root;
    MediaService& media;  ///< reads the files
    /// Whether a copy of so many bytes may go ahead; null means always.
    std::function<bool(std::int64_t bytes)> gate;
    /// Folders besides the archive that no scan enters: the program's data.
    std::vector<std::filesystem::path> neverScanned;
    /// Folders besides the archive of whose files none is removed. Staged files
    /// in the program's data may be.
    std::vector<std::filesystem::path> neverRemoved;
    /// Looks at the pictures; null means nobody does.
    const Vision* vision = nullptr;
    /// Ends groups at once, also half-way through a copy: for the process's end.
    std::stop_token stop;
  };

  struct Result {
    std::string filename;  ///< last path component of the primary
    IngestOutcome outcome = IngestOutcome::failed;
    std::optional<AnalyzedPhoto> photo;  ///< for `inserted` and `duplicate`
    std::optional<std::string> error;    ///< for the others
  };

  /// Makes the ingestors of one archive: each writes its rows through a context
  /// of its own, and all share the rest. Any thread.
  class Factory {
   public:
    explicit Factory(Options options);
    [[nodiscard]] Ingestor make(CatalogWriter writer) const;

   private:
    Options options_;
    Archiver archiver_;
  };

  /// Takes one group through the whole pipeline; never throws. With
  /// `deleteSource` the group's files are removed after success, as far as
  /// SourceRemover lets them. `meta` comes from the photo library, or is null.
  ///
  /// When a file of the group has the bytes that a file should have which a scrub
  /// has marked, it replaces that one first; if it can't, the group fails.
  ///
  /// A motion file that differs from the one that the archive has for the same
  /// still becomes a video of its own; the result is the still's.
  [[nodiscard]] Result process(const AssetGroup& group, bool deleteSource,
                               const PhotosMeta* meta = nullptr) const;

  /// Takes a whole tree through the pipeline, one group after the other, without
  /// its junk. A folder that can't be listed adds nothing. A stop ends it early.
  [[nodiscard]] std::vector<Result> ingestFolder(const std::filesystem::path& folder,
                                                 bool deleteSource) const;

  /// Why nothing can be archived, in words for the user; absent when it can.
  [[nodiscard]] std::optional<std::string> problem() const { return options_.media.problem(); }

  /// The folders that scans for this ingestor leave out, as they are now.
  [[nodiscard]] ProtectedFolders unscannedFolders() const;
  /// Their paths.
  [[nodiscard]] std::vector<std::filesystem::path> unscannedPaths() const;

 private:
  /// A group's result, and its sources where it succeeded.
  struct Processed {
    Result result;
    std::optional<ArchivedSource> primary;
    std::optional<ArchivedSource> motion;
  };

  Ingestor(CatalogWriter writer, Options options, Archiver archiver)
      : options_(std::move(options)), archiver_(std::move(archiver)), writer_(std::move(writer)) {}

  [[nodiscard]] Processed archiveAndRecord(const AssetGroup& group, const PhotosMeta* meta,
                                           bool sourcesGo) const;
  void healDamaged(const AssetGroup& group, const AnalyzedPhoto& photo) const;
  void removeSources(const Processed& processed, bool motionMayGo) const;

  Options options_;
  Archiver archiver_;
  CatalogWriter writer_;
};

}  // namespace vaultmere
