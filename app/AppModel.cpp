// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppModel.h"

#include <fmt/format.h>

#include <algorithm>

#include "app/SelfTest.h"
#include "catalog/CatalogError.h"
#include "gallery/CatalogGallery.h"
#include "platform/LocalAddress.h"
#include "platform/Log.h"
#include "platform/Text.h"
#include "thumbnails/ThumbnailWarmer.h"

namespace vaultmere {
namespace {

constexpr std::chrono::seconds kStatsInterval{2};

/// Ports that a server can have; 0 would let the system choose.
constexpr std::int64_t kFirstPort = 1;
constexpr std::int64_t kLastPort = 65'535;

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

std::string summary(const std::string& label, const ImportStats& stats) {
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

ArchiveBreakdown addedUp(const std::vector<MediaTotal>& totals) {
  ArchiveBreakdown sum;
  for (const MediaTotal& total : totals) {
    const bool isVideo = total.mediaType == "video";
    sum.count += total.count;
    sum.bytes += total.bytes;
    (isVideo ? sum.videos : sum.photos) += total.count;
    (isVideo ? sum.videoBytes : sum.photoBytes) += total.bytes;
  }
  return sum;
}

}  // namespace

AppModel::AppModel(Options options)
    : options_(std::move(options)),
      defaults_(options_.folders.settings),
      settings_(defaults_, options_.main.now()),
      destination_(
          options_.main, [this] { return settings_.marginBytes(); }, options_.notify, gate_,
          options_.destination),
      importLog_(
          std::make_shared<ImportLog>(options_.folders.data / "import-log.jsonl", options_.pool)),
      thumbnails_(std::make_shared<ThumbnailProvider>(
          options_.folders.data / "cache", options_.pool,
          std::make_shared<AsyncSemaphore>(options_.pool, kThumbnailMakers))),
      ingestQueue_(options_.pool),
      inbox_(options_.main, options_.pool,
             [this](const std::filesystem::path& folder, std::stop_token stop,
                    WatchedFolderController::Done done) {
               return drainInbox(folder, std::move(stop), std::move(done));
             }) {
  settings_.changed().connect(sigc::mem_fun(*this, &AppModel::settingsChanged));
  destination_.changed().connect(sigc::mem_fun(*this, &AppModel::destinationChanged));
  startCatalog();
  destination_.setDestination(settings_.destination());
  destination_.refresh();
  configurePipeline();
  warmThumbnails();
  statsTimer_ = options_.main.every(kStatsInterval, [this] {
    if (isImporting()) {
      refreshArchive();
    }
  });
}

AppModel::~AppModel() { shutDown(); }

void AppModel::startCatalog() {
  try {
    catalog_ = std::make_shared<VaultmereCatalog>(
        VaultmereCatalog::Options{options_.folders.data, nullptr, options_.pause}, options_.pool);
  } catch (const CatalogError& error) {
    status_ = fmt::format("Catalog error: {}", error.what());
    logLine(fmt::format("Vaultmere: failed to open catalog — {}", error.what()));
    return;
  }
  try {
    browser_ = std::make_unique<PhotoBrowserModel>(*catalog_, options_.main);
  } catch (const CatalogError& error) {
    logLine(fmt::format("Vaultmere: no browser — {}", error.what()));
  }
  refreshArchive();
  status_ = "Ready";
  SelfTest{catalog_,
           {options_.folders.data, options_.folders.settings},
           options_.vision,
           processStop_.get_token()}
      .tryHooks(options_.hooks, options_.pool);
}

void AppModel::configurePipeline() {
  const auto root = catalog_ ? destination_.url() : std::nullopt;
  if (root == configuredRoot_) {
    return;
  }
  cancelImport();
  inbox_.stop();
  coordinator_.reset();
  configuredRoot_.reset();
  if (!root) {
    return;
  }
  try {
    if (!ingestContext_) {
      ingestContext_ = catalog_->newBackgroundContext();
    }
  } catch (const CatalogError& error) {
    intakeStatus_ = fmt::format("Catalog error: {}", error.what());
    return;
  }
  const Ingestor::Factory ingestors(
      {.root = {*root, [gate = gate_,
                        root = *root](dev_t device) { return gate->lastDeviceOf(root) == device; }},
       .gate = [gate = gate_](std::int64_t bytes) { return gate->allows(bytes); },
       .neverScanned = {options_.folders.data, options_.folders.settings},
       .neverRemoved = {options_.folders.settings},
       .vision = options_.vision,
       .stop = processStop_.get_token()});
  coordinator_ = std::make_shared<IngestCoordinator>(IngestCoordinator::Options{
      ingestors.make(CatalogWriter(ingestContext_)), importLog_,
      [&main = options_.main] { return main.now(); }, options_.pool, ingestQueue_});
  configuredRoot_ = root;
}

std::string AppModel::galleryPassword() const {
  return std::string(trimmed(settings_.serverPassword(), kWhiteSpace));
}

void AppModel::startServer() {
  if (!catalog_) {
    return;
  }
  try {
    if (!server_) {
      server_ = std::make_unique<GalleryServer>(
          std::make_shared<CatalogGallery>(catalog_, thumbnails_), options_.pool,
          GalleryServer::Options{.page = options_.folders.resources / "web"});
    }
    server_->start(static_cast<int>(std::clamp(settings_.serverPort(), kFirstPort, kLastPort)),
                   galleryPassword());
    serverUrl_ =
        fmt::format("http://{}:{}", localAddress().value_or("127.0.0.1"), settings_.serverPort());
  } catch (const std::exception& error) {
    serverUrl_.reset();
    logLine(fmt::format("Vaultmere: gallery server failed to start — {}", error.what()));
  }
  changed_.emit();
}

void AppModel::stopServer() {
  if (server_) {
    server_->stop();
  }
  serverUrl_.reset();
  changed_.emit();
}

void AppModel::settingsChanged() {
  if (server_) {
    server_->setPassword(galleryPassword());
  }
  destination_.setDestination(settings_.destination());
  destination_.refresh();
  destinationChanged();
}

void AppModel::destinationChanged() {
  // What has been found out about the destination's drive is worth keeping.
  if (const auto& found = destination_.resolvedBookmark();
      found && found != settings_.destination()) {
    settings_.updateDestination(*found);
  }
  thumbnails_->setArchiveRoot(destination_.url());
  configurePipeline();
  // Before the first answer the gate would only turn the files away.
  const bool isKnown = !std::holds_alternative<DestinationMonitor::Unset>(destination_.status());
  inbox_.watch(coordinator_ && isKnown ? settings_.inbox() : std::nullopt);
  if (!std::exchange(wasOnline_, destination_.isOnline()) && wasOnline_) {
    inbox_.pass();  // what was turned away meanwhile
    warmThumbnails();
  }
  changed_.emit();
}

void AppModel::importDropped(std::vector<std::filesystem::path> locations) {
  if (!coordinator_ || !destination_.isOnline()) {
    intakeStatus_ =
        coordinator_ ? "Destination offline — reconnect it to import." : "Set a destination first.";
    changed_.emit();
    return;
  }
  stopWarming();
  const std::stop_token stop = importStop_.get_token();
  coordinator_->ingestDropped(std::move(locations), settings_.deleteSourceAfterIntake(), stop,
                              {hop_([this] {
                                 lastImport_.reset();
                                 intakeStatus_ = "Scanning…";
                                 beginImport(ImportSource::drop);
                               }),
                               hop_([this](const BatchProgress& progress) {
                                 intakeStatus_ = progress.total == 0 ? "Nothing to import"
                                                 : progress.done == progress.total
                                                     ? "Finishing…"
                                                     : fmt::format("Importing {} of {}…",
                                                                   progress.done, progress.total);
                                 showProgress(progress);
                               })},
                              hop_([this, stop](const IngestCoordinator::BatchResult& batch) {
                                if (!batch.wasStarted) {
                                  return;  // part of what the stopped one says
                                }
                                finishImport(batch, stop.stop_requested() ? "Stopped" : "Imported");
                              }));
}

bool AppModel::drainInbox(const std::filesystem::path& folder, std::stop_token stop,
                          WatchedFolderController::Done done) {
  if (!coordinator_) {
    return false;
  }
  coordinator_->drainInbox(
      folder, std::move(stop),
      {hop_([this] { beginImport(ImportSource::watch); }),
       hop_([this](const BatchProgress& progress) { showProgress(progress); })},
      hop_([this, done = std::move(done)](const IngestCoordinator::BatchResult& batch) {
        if (batch.results.empty()) {
          clearImport();
          warmThumbnails();
        } else {
          finishImport(batch, "Watch");
        }
        done(batch);
      }));
  return true;
}

void AppModel::cancelImport() {
  importStop_.request_stop();
  importStop_ = std::stop_source();
}

void AppModel::shutDown() {
  cancelImport();
  inbox_.stop();
  stopWarming();
  processStop_.request_stop();
  server_.reset();
  serverUrl_.reset();
}

void AppModel::beginImport(ImportSource source) {
  stopWarming();
  clearImport();
  importingSource_ = source;
  changed_.emit();
}

void AppModel::showProgress(const BatchProgress& progress) {
  importProcessed_ = progress.done;
  importTotal_ = progress.total;
  liveImport_ = statsOf(progress);
  changed_.emit();
}

void AppModel::clearImport() {
  importingSource_.reset();
  importProcessed_ = 0;
  importTotal_ = 0;
  liveImport_.reset();
}

void AppModel::finishImport(const IngestCoordinator::BatchResult& batch, const std::string& label) {
  const ImportStats stats = statsOf(batch);
  if (stats.added > 0) {
    if (browser_) {
      browser_->reset();
    }
    refreshArchive();
  }
  clearImport();
  warmThumbnails();
  lastImport_ = stats;
  intakeStatus_ = summary(label, stats);
  changed_.emit();
}

/// Counts the catalog on a pool thread; at most one count runs, and one more is
/// remembered.
void AppModel::refreshArchive() {
  if (!catalog_) {
    return;
  }
  if (totalsRunning_) {
    totalsWanted_ = true;
    return;
  }
  totalsRunning_ = true;
  options_.pool.post([catalog = catalog_, show = hop_([this](const ArchiveBreakdown& archive) {
                                            archive_ = archive;
                                            totalsRunning_ = false;
                                            if (std::exchange(totalsWanted_, false)) {
                                              refreshArchive();
                                            }
                                            changed_.emit();
                                          })] {
    try {
      show(addedUp(mediaBreakdown(*catalog->newBackgroundContext())));
    } catch (const CatalogError&) {
      show(ArchiveBreakdown{});
    }
  });
}

/// Fills the thumbnail cache in the background; imports go first, and a drive
/// that may not answer isn't asked for originals.
void AppModel::warmThumbnails() {
  if (!catalog_ || warming_ || isImporting() ||
      (settings_.destination() && !destination_.isOnline())) {
    return;
  }
  ThumbnailWarmer warmer;
  try {
    warmer.context = catalog_->newBackgroundContext();
  } catch (const CatalogError& error) {
    logLine(fmt::format("Vaultmere: thumbnails not warmed — {}", error.what()));
    return;
  }
  warming_ = std::make_shared<std::stop_source>();
  warmer.run(thumbnails_, warming_->get_token(), hop_([this, run = warming_] {
               if (warming_ == run) {
                 warming_.reset();
               }
             }));
}

void AppModel::stopWarming() {
  if (const auto run = std::exchange(warming_, nullptr)) {
    run->request_stop();
  }
}

}  // namespace vaultmere
