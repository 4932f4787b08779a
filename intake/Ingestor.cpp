// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/Ingestor.h"

#include <iterator>

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
    case IngestOutcome::failed:
      break;
  }
  return "failed";
}

Ingestor::Ingestor(Options options)
    : options_(std::move(options)),
      archiver_({options_.archiveRoot, options_.acceptsDevice, options_.stop}) {}

Ingestor::Result Ingestor::process(const AssetGroup& group, bool deleteSource,
                                   const PhotosMeta* meta) const {
  std::optional<GroupAnalysis> analysis;
  Result result;
  try {
    analysis = analyzeGroup(group, meta, options_.vision, options_.stop);
    result = archiveAndRecord(group, analysis->photo, deleteSource);
  } catch (const std::exception& error) {
    result.outcome = IngestOutcome::failed;
    result.error = validUtf8(error.what());
  }
  result.filename = displayName(group.primary);
  const bool succeeded = result.photo.has_value();
  const bool motionMayGo =
      group.motionRefCount ? group.motionRefCount->finish(succeeded) : succeeded;
  if (succeeded && deleteSource) {
    removeSources(group, *analysis, motionMayGo);
  }
  return result;
}

Ingestor::Result Ingestor::archiveAndRecord(const AssetGroup& group, AnalyzedPhoto photo,
                                            bool sourcesGo) const {
  Result result;
  if (options_.gate && !options_.gate(photo.sizeBytes + photo.liveMotionSize.value_or(0))) {
    result.outcome = IngestOutcome::skipped;
    result.error = kRefusedByGate;
    return result;
  }
  fillInCopies(photo, archiver_.archive(group.primary, group.motion, photo, sourcesGo));
  const auto written = options_.writer.write(photo);
  result.outcome = written == CatalogWriter::Outcome::inserted ? IngestOutcome::inserted
                                                               : IngestOutcome::duplicate;
  result.photo = std::move(photo);
  return result;
}

/// The motion file goes first, and without it the still stays: a motion file
/// left alone would look like an item of its own to the next run.
void Ingestor::removeSources(const AssetGroup& group, const GroupAnalysis& analysis,
                             bool motionMayGo) const {
  const fs::path target = options_.archiveRoot / analysis.photo.targetPath;
  if (group.motion && motionMayGo) {
    const fs::path motionTarget = target.parent_path() / *analysis.photo.liveMotionFile;
    if (!removeSource(*group.motion, analysis.motion, motionTarget)) {
      return;
    }
  }
  removeSource(group.primary, analysis.primary, target);
}

bool Ingestor::isOnDestination(dev_t device) const {
  return !options_.acceptsDevice || options_.acceptsDevice(device);
}

/// True when the source is gone.
bool Ingestor::removeSource(const fs::path& source, const std::optional<FileStamp>& asRead,
                            const fs::path& archived) const {
  const auto now = fileStatus(source);
  const auto archivedNow = fileStatus(archived);
  const char* reason = nullptr;
  if (!now || now->stamp != asRead) {
    reason = "it has changed since it was read";
  } else if (isBeingWritten(source)) {
    reason = "it is open for writing";
  } else if (!archivedNow || !isOnDestination(archivedNow->stamp.device)) {
    reason = "its archived file is out of reach";
  } else if (archivedNow->stamp.sameFile(now->stamp) || protectedFolders().cover(source)) {
    reason = "it lies in the archive";
  }
  if (reason != nullptr) {
    logLine("Vaultmere: source stays — " + displayPath(source) + ": " + reason);
    return false;
  }
  try {
    removeFile(source);
    return true;
  } catch (const FileError& error) {
    logLine(std::string("Vaultmere: source stays — ") + error.what());
    return false;
  }
}

std::vector<Ingestor::Result> Ingestor::ingestFolder(const fs::path& folder,
                                                     bool deleteSource) const {
  std::vector<Result> results;
  const ProtectedFolders protect = protectedFolders();
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
      results.push_back(process(group, deleteSource));
    }
    std::move(content.folders.rbegin(), content.folders.rend(), std::back_inserter(waiting));
  }
  return results;
}

ProtectedFolders Ingestor::protectedFolders() const { return ProtectedFolders(protectedPaths()); }

std::vector<fs::path> Ingestor::protectedPaths() const {
  std::vector<fs::path> folders = options_.protectedFolders;
  folders.push_back(options_.archiveRoot);
  return folders;
}

}  // namespace vaultmere
