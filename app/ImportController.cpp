// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ImportController.h"

#include <fmt/format.h>

namespace vaultmere {
namespace {

constexpr const char* kNothingImportable =
    "Nothing importable found in that drop (no images or videos, or no access).";

ImportStats statsOf(const BatchProgress& progress) {
  return {progress.added, progress.duplicate, progress.skipped, progress.failed, progress.junk};
}

ImportStats statsOf(const IngestCoordinator::BatchResult& batch) {
  ImportStats stats;
  stats.noImage = batch.junk;
  for (const Ingestor::Result& result : batch.results) {
    switch (result.outcome) {
      case IngestOutcome::inserted:
        ++stats.added;
        break;
      case IngestOutcome::duplicate:
        ++stats.duplicate;
        break;
      case IngestOutcome::skipped:
        ++stats.skipped;
        break;
      case IngestOutcome::failed:
        ++stats.failed;
        break;
      case IngestOutcome::cancelled:
        break;
    }
  }
  return stats;
}

std::string summary(const char* label, const ImportStats& stats) {
  if (stats == ImportStats{}) {
    return kNothingImportable;
  }
  std::string text = fmt::format("{}: {} new", label, stats.added);
  const auto add = [&](std::size_t count, const char* what) {
    if (count > 0) {
      text += fmt::format(", {} {}", count, what);
    }
  };
  add(stats.duplicate, "duplicate");
  add(stats.skipped, "skipped (no space)");
  add(stats.failed, "failed");
  add(stats.noImage, "junk");
  return text;
}

std::string progressText(const BatchProgress& progress) {
  if (progress.total == 0) {
    return "Nothing to import";
  }
  return progress.done == progress.total
             ? "Finishing…"
             : fmt::format("Importing {} of {}…", progress.done, progress.total);
}

}  // namespace

/// One import on its way through the coordinator's queue. Main thread only.
struct ImportController::Run {
  ImportSource source;
  std::stop_token stop;
  bool isShown = false;  ///< its batch has begun, and the display is its own
};

ImportController::ImportController(Dependencies dependencies)
    : dependencies_(std::move(dependencies)),
      toMain_(dependencies_.main),
      queue_(dependencies_.pool) {}

bool ImportController::configure(const std::shared_ptr<CatalogContext>& context,
                                 const std::optional<std::filesystem::path>& root) {
  const auto newRoot = context ? root : std::nullopt;
  if (newRoot == root_) {
    return false;
  }
  cancel();
  root_ = newRoot;
  coordinator_.reset();
  if (!newRoot) {
    return true;
  }
  const auto& gate = dependencies_.gate;
  const Ingestor::Factory ingestors(
      {.root = {*newRoot, [gate](dev_t device) { return gate->expectedDevice() == device; }},
       .media = dependencies_.media,
       .gate = [gate](std::int64_t bytes) { return gate->allows(bytes); },
       .neverScanned = dependencies_.protectedFolders,
       .neverRemoved = {},
       .vision = dependencies_.vision,
       .stop = process_.get_token()});
  coordinator_ = std::make_shared<IngestCoordinator>(IngestCoordinator::Options{
      ingestors.make(CatalogWriter(context)), dependencies_.log,
      [&main = dependencies_.main] { return main.now(); }, dependencies_.pool, queue_});
  return true;
}

void ImportController::importDropped(std::vector<std::filesystem::path> locations,
                                     bool deleteSource) {
  if (!coordinator_ || !dependencies_.gate->state().online) {
    status_ =
        coordinator_ ? "Destination offline — reconnect it to import." : "Set a destination first.";
    dependencies_.changed.notify();
    return;
  }
  dependencies_.begins();
  const auto run =
      std::make_shared<Run>(Run{.source = ImportSource::drop, .stop = drops_.get_token()});
  coordinator_->ingestDropped(
      std::move(locations), deleteSource, run->stop, observerOf(run),
      toMain_([this, run](const IngestCoordinator::BatchResult& batch) { endDrop(*run, batch); }));
}

void ImportController::cancel() { std::exchange(drops_, std::stop_source()).request_stop(); }

IngestCoordinator::InboxScanner ImportController::watchedFolderScanner() const {
  return coordinator_ ? coordinator_->inboxScanner() : nullptr;
}

bool ImportController::drainWatchedFolder(IngestCoordinator::InboxScan scan, std::stop_token stop,
                                          WatchedFolderController::Done done) {
  if (!coordinator_) {
    return false;
  }
  const auto run = std::make_shared<Run>(Run{.source = ImportSource::watch, .stop = stop});
  coordinator_->drainInbox(
      std::move(scan), std::move(stop), observerOf(run),
      toMain_([this, run, done = std::move(done)](const IngestCoordinator::BatchResult& batch) {
        endPass(*run, batch);
        done(batch);
      }));
  return true;
}

void ImportController::shutDown() {
  cancel();
  process_.request_stop();
}

IngestCoordinator::Observer ImportController::observerOf(const std::shared_ptr<Run>& run) {
  return {toMain_([this, run] { begin(*run); }),
          toMain_([this, run](const BatchProgress& progress) { showProgress(*run, progress); })};
}

void ImportController::begin(Run& run) {
  if (run.stop.stop_requested()) {
    return;  // stopped in the queue: what stopped it has said so
  }
  run.isShown = true;
  dependencies_.begins();
  clear();
  source_ = run.source;
  if (run.source == ImportSource::drop) {
    last_.reset();
    status_ = "Scanning…";
  }
  dependencies_.changed.notify();
}

void ImportController::showProgress(const Run& run, const BatchProgress& progress) {
  if (!run.isShown) {
    return;
  }
  processed_ = progress.done;
  total_ = progress.total;
  live_ = statsOf(progress);
  if (run.source == ImportSource::drop) {
    status_ = progressText(progress);
  }
  dependencies_.changed.notify();
}

void ImportController::endDrop(const Run& run, const IngestCoordinator::BatchResult& batch) {
  if (batch.refusal) {
    refuse(*batch.refusal);
  } else if (run.isShown) {
    finish(batch, run.stop.stop_requested() ? "Stopped" : "Imported");
  } else {
    dependencies_.ended(statsOf(batch).added);
  }
}

void ImportController::endPass(const Run& run, const IngestCoordinator::BatchResult& batch) {
  if (batch.refusal) {
    refuse(*batch.refusal);
  } else if (run.isShown && !batch.results.empty()) {
    finish(batch, "Watch");
  } else if (run.isShown) {  // stopped before its first group
    clear();
    dependencies_.ended(0);
    dependencies_.changed.notify();
  }
}

void ImportController::finish(const IngestCoordinator::BatchResult& batch, const char* label) {
  const ImportStats stats = statsOf(batch);
  clear();
  dependencies_.ended(stats.added);
  last_ = stats;
  status_ = summary(label, stats);
  dependencies_.changed.notify();
}

void ImportController::refuse(const std::string& why) {
  dependencies_.ended(0);
  status_ = why;
  dependencies_.changed.notify();
}

void ImportController::clear() {
  source_.reset();
  processed_ = 0;
  total_ = 0;
  live_.reset();
}

}  // namespace vaultmere
