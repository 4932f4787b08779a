// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppModel.h"

#include <fmt/format.h>

#include <utility>

#include "app/SelfTest.h"
#include "care/CatalogRestore.h"
#include "catalog/CatalogError.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr std::chrono::seconds kStatsInterval{2};

void applyRestore(const std::filesystem::path& store) {
  CatalogRestore::applyPending(
      store, std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
}

}  // namespace

/// What the pool has opened; without a catalog `error` says why.
struct AppModel::OpenedCatalog {
  std::shared_ptr<const VaultmereCatalog> catalog;
  std::shared_ptr<CatalogContext> ingestContext;
  PhotoBrowserModel::Contexts browserContexts;
  std::string error;
};

AppModel::AppModel(Options options)
    : options_(std::move(options)),
      changed_(options_.main),
      settingsFile_(options_.directories.settings, options_.pool),
      settings_(settingsFile_, options_.main, options_.destination.background),
      destination_(
          options_.main, [this] { return settings_.marginBytes(); }, options_.notify, gate_,
          options_.destination),
      totals_(options_.main, options_.catalogPool, changed_),
      thumbnails_(options_.main, options_.media, {options_.catalogPool, options_.originalsPool},
                  options_.directories.data / "cache", [this] { return mayWarmThumbnails(); }),
      gallery_(settings_, thumbnails_.provider(), options_.directories.resources / "web", changed_),
      imports_({options_.main,
                options_.pool,
                gate_,
                std::make_shared<ImportLog>(options_.directories.data / "import-log.jsonl",
                                            options_.pool),
                {options_.directories.data, options_.directories.settings},
                options_.media,
                options_.vision,
                changed_,
                [this] { thumbnails_.stopWarming(); },
                [this](std::size_t added) { importEnded(added); }}),
      watchedFolder_(options_.main,
                     {[this] { return imports_.watchedFolderScanner(); },
                      [this](IngestCoordinator::InboxScan scan, std::stop_token stop,
                             WatchedFolderController::Done done) {
                        return imports_.drainWatchedFolder(std::move(scan), std::move(stop),
                                                           std::move(done));
                      }},
                     {options_.destination.background, options_.destination.watchMounts}),
      care_({options_.main,
             options_.originalsPool,
             options_.media,
             options_.vision,
             gate_,
             {options_.directories.data, options_.directories.settings},
             changed_,
             [this] { return totals_.archive().count; },
             [this] { rebuildEnded(); }}),
      autoStacker_(options_.main, options_.originalsPool) {
  connections_.emplace_back(settings_.changed().connect([this] { settingsChanged(); }));
  connections_.emplace_back(destination_.changed().connect([this] { destinationChanged(); }));
  checkMedia();
  openCatalog();
  destination_.setDestination(settings_.destination());
  destination_.refresh();
  statsTimer_ = options_.main.every(kStatsInterval, [this] {
    if (imports_.isImporting()) {
      totals_.refresh();
    }
  });
}

AppModel::~AppModel() { shutDown(); }

void AppModel::checkMedia() {
  options_.pool.post(
      [&media = options_.media, tell = toMain_([this](const std::optional<std::string>& problem) {
                                  mediaProblem_ = problem;
                                  changed_.notify();
                                })] { tell(media.problem()); });
}

void AppModel::openCatalog() {
  options_.pool.post([folder = options_.directories.data, pause = options_.pause,
                      &pool = options_.catalogPool,
                      use = toMain_([this](const OpenedCatalog& opened) { useCatalog(opened); })] {
    try {
      auto catalog = std::make_shared<VaultmereCatalog>(
          VaultmereCatalog::Options{folder, applyRestore, pause}, pool);
      use(OpenedCatalog{catalog,
                        catalog->newBackgroundContext(),
                        PhotoBrowserModel::Contexts::open(*catalog),
                        {}});
    } catch (const CatalogError& error) {
      use(OpenedCatalog{nullptr, nullptr, {}, error.what()});
    }
  });
}

void AppModel::useCatalog(const OpenedCatalog& opened) {
  changed_.notify();
  if (!opened.catalog) {
    status_ = fmt::format("Catalog error: {}", opened.error);
    logLine(fmt::format("Vaultmere: failed to open catalog — {}", opened.error));
    return;
  }
  catalog_ = opened.catalog;
  ingestContext_ = opened.ingestContext;
  browser_ = std::make_unique<PhotoBrowserModel>(*catalog_, opened.browserContexts, options_.main);
  totals_.setCatalog(catalog_);
  totals_.refresh();
  thumbnails_.setCatalog(catalog_);
  gallery_.setCatalog(catalog_);
  care_.setCatalog(catalog_);
  status_ = "Ready";
  SelfTest{catalog_,
           {options_.directories.data, options_.directories.settings},
           options_.media,
           options_.vision,
           processStop_.get_token()}
      .tryHooks(options_.environment, options_.pool);
  destinationChanged();
  thumbnails_.warm();
  stackPairs();
}

void AppModel::settingsChanged() {
  gallery_.applyPassword();
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
  thumbnails_.setArchive(destination_.url(), !settings_.destination() || destination_.isOnline());
  gallery_.setArchive(destination_.isOnline() ? destination_.url() : std::nullopt);
  care_.setArchive(destination_.url(), destination_.isOnline());
  if (imports_.configure(ingestContext_, destination_.url())) {
    watchedFolder_.destinationChanged();
  }
  // Before the first answer the gate would only turn the files away.
  const bool isKnown = !std::holds_alternative<DestinationMonitor::Unset>(destination_.status());
  watchedFolder_.watch(imports_.isConfigured() && isKnown ? settings_.inbox() : std::nullopt);
  const bool isBack = !std::exchange(wasOnline_, destination_.isOnline()) && wasOnline_;
  if (const auto* online = std::get_if<DestinationMonitor::Online>(&destination_.status())) {
    const auto [total, available] = online->capacity;
    watchedFolder_.destinationHasRoom(available - spaceMargin(settings_.marginBytes(), total));
  }
  if (isBack) {
    watchedFolder_.pass();  // what was turned away meanwhile
    thumbnails_.warm();
  }
  changed_.notify();
}

void AppModel::importDropped(std::vector<std::filesystem::path> locations) {
  if (mediaProblem_) {
    checkMedia();  // it may have been mended
  }
  imports_.importDropped(std::move(locations), settings_.deleteSourceAfterIntake());
}

void AppModel::importEnded(std::size_t added) {
  if (added > 0) {
    if (browser_) {
      browser_->reset();
    }
    totals_.refresh();
    stackPairs();
  }
  thumbnails_.warm();
}

void AppModel::rebuildEnded() {
  if (browser_) {
    browser_->reset();
  }
  totals_.refresh();
  thumbnails_.warm();
}

/// Hides the second copy of each shot, if the user wants that.
void AppModel::stackPairs() {
  if (!catalog_ || !settings_.autoStackPairs()) {
    return;
  }
  std::optional<ArchiveRoot> root;
  if (const auto& url = destination_.url(); url && destination_.isOnline()) {
    root = {*url, [gate = gate_](dev_t device) { return gate->expectedDevice() == device; }};
  }
  autoStacker_.run(catalog_, std::move(root), [this](std::size_t hidden) {
    if (hidden > 0) {
      browser_->reset();
    }
  });
}

/// Imports go first, and a drive that may not answer isn't asked for originals.
bool AppModel::mayWarmThumbnails() const {
  return !imports_.isImporting() && (!settings_.destination() || destination_.isOnline());
}

void AppModel::shutDown() {
  processStop_.request_stop();
  imports_.shutDown();
  watchedFolder_.stop();
  care_.shutDown();
  thumbnails_.stopWarming();
  autoStacker_.stop();
  settingsFile_.flush();
  gallery_.shutDown();
}

}  // namespace vaultmere
