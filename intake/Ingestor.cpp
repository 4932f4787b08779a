// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/Ingestor.h"

#include <cerrno>
#include <iterator>

#include "intake/ArchiveLayout.h"
#include "intake/DamagedFile.h"
#include "intake/FileHash.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr const char* kRefusedByGate = "destination offline or below margin";

/// What the catalog records about a group once its copies stand.
void fillInCopies(AnalyzedPhoto& photo, const Archiver::Archived& archived) {
  photo.archivePath = displayPath(archived.archivePath);
  photo.storage = "archive";
  if (archived.liveMotionPath) {
    photo.liveMotionPath = displayPath(*archived.liveMotionPath);
    photo.liveMotionSize = archived.liveMotionSize;
    photo.liveMotionHash = archived.liveMotionHash;
  }
}

}  // namespace

const char* outcomeText(IngestOutcome outcome) {
  switch (outcome) {
    case IngestOutcome::inserted:
      return "inserted";
    case IngestOutcome::duplicate:
      return "duplicate";
    case IngestOutcome::skipped:
      return "skipped";
    case IngestOutcome::cancelled:
      return "cancelled";
    case IngestOutcome::failed:
      break;
  }
  return "failed";
}

Ingestor::Factory::Factory(Options options)
    : options_(std::move(options)), archiver_(options_.root, options_.stop) {}

Ingestor Ingestor::Factory::make(CatalogWriter writer) const {
  return {std::move(writer), options_, archiver_};
}

Ingestor::Result Ingestor::process(const AssetGroup& group, bool deleteSource,
                                   const PhotosMeta* meta) const {
  Processed processed;
  Result& result = processed.result;
  try {
    processed = archiveAndRecord(group, meta, deleteSource);
  } catch (const std::exception& error) {
    result.outcome =
        options_.stop.stop_requested() ? IngestOutcome::cancelled : IngestOutcome::failed;
    result.error = validUtf8(error.what());
  }
  result.filename = displayName(group.primary);
  const bool succeeded = result.photo.has_value();
  const bool motionMayGo =
      group.motionRefCount ? group.motionRefCount->finish(succeeded) : succeeded;
  if (succeeded && deleteSource) {
    removeSources(processed, motionMayGo);
  }
  return std::move(result);
}

Ingestor::Processed Ingestor::archiveAndRecord(const AssetGroup& group, const PhotosMeta* meta,
                                               bool sourcesGo) const {
  GroupAnalysis analysis =
      analyzeGroup(group, meta, options_.media, options_.vision, options_.stop);
  AnalyzedPhoto& photo = analysis.photo;
  Processed processed;
  if (options_.gate && !options_.gate(photo.sizeBytes + photo.liveMotionSize.value_or(0))) {
    processed.result.outcome = IngestOutcome::skipped;
    processed.result.error = kRefusedByGate;
    return processed;
  }
  healDamaged(group, photo);
  const Archiver::Archived archived =
      archiver_.archive(group.primary, group.motion, photo, sourcesGo);
  fillInCopies(photo, archived);
  const fs::path target = photo.targetPath;
  processed.primary = {group.primary, analysis.primary, target, photo.id};
  if (archived.motionDiffers) {
    const AssetGroup video{*group.motion, std::nullopt, true, nullptr};
    Processed own = archiveAndRecord(video, nullptr, sourcesGo);
    if (!own.result.photo) {
      return own;
    }
    logLine("Vaultmere: archived as a video of its own, since its still has another one — " +
            displayPath(*group.motion));
    processed.motion = std::move(own.primary);
  } else if (group.motion) {
    processed.motion = {*group.motion, analysis.motion,
                        target.parent_path() / motionFileName(photo.id), photo.id};
  }
  const auto written = writer_.write(photo);
  processed.result.outcome = written == CatalogWriter::Outcome::inserted ? IngestOutcome::inserted
                                                                         : IngestOutcome::duplicate;
  processed.result.photo = std::move(photo);
  return processed;
}

/// Only a file that a scrub has marked is replaced.
void Ingestor::healDamaged(const AssetGroup& group, const AnalyzedPhoto& photo) const {
  const auto item = writer_.marked(photo.id);
  if (!item) {
    return;
  }
  const auto heal = [&](ArchivedPart part, const fs::path& source) {
    replaceDamaged(options_.root, *item, part, File::openForReading(source),
                   std::chrono::system_clock::now(), options_.stop);
    writer_.clearMark(*item, part);
  };
  if (item->primaryMark) {
    heal(ArchivedPart::primary, group.primary);
  }
  if (item->motionMark && group.motion &&
      hashFile(*group.motion, PageCache::use, options_.stop).hash == item->motionHash) {
    heal(ArchivedPart::motion, *group.motion);
  }
}

/// The motion file goes first, and without it the still stays: a motion file
/// left alone would look like an item of its own to the next run.
void Ingestor::removeSources(const Processed& processed, bool motionMayGo) const {
  const SourceRemover remover({options_.root, options_.neverRemoved,
                               [this](const std::string& id) { return writer_.holds(id); }});
  if (processed.motion && motionMayGo && !remover.remove(*processed.motion)) {
    return;
  }
  (void)remover.remove(*processed.primary);
}

std::vector<Ingestor::Result> Ingestor::ingestFolder(const fs::path& folder,
                                                     bool deleteSource) const {
  std::vector<Result> results;
  const ProtectedFolders protect = unscannedFolders();
  if (protect.cover(folder)) {
    return results;
  }
  std::vector<fs::path> waiting{folder};
  while (!waiting.empty()) {
    const fs::path next = std::move(waiting.back());
    waiting.pop_back();
    FolderContent content = readFolder(next, protect);
    for (const AssetGroup& group : groupFiles(std::move(content.files)).groups) {
      if (options_.stop.stop_requested()) {
        return results;
      }
      Result result = process(group, deleteSource);
      if (result.outcome == IngestOutcome::cancelled) {
        return results;
      }
      results.push_back(std::move(result));
    }
    std::move(content.folders.rbegin(), content.folders.rend(), std::back_inserter(waiting));
  }
  return results;
}

ProtectedFolders Ingestor::unscannedFolders() const { return ProtectedFolders(unscannedPaths()); }

std::vector<fs::path> Ingestor::unscannedPaths() const {
  std::vector<fs::path> folders = options_.neverScanned;
  folders.push_back(options_.root.path);
  return folders;
}

}  // namespace vaultmere
