// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ThumbnailController.h"

#include <fmt/format.h>

#include <utility>

#include "catalog/CatalogError.h"
#include "platform/Log.h"
#include "thumbnails/ThumbnailWarmer.h"

namespace vaultmere {

ThumbnailController::ThumbnailController(MainThread& main, MediaService& media,
                                         ThumbnailProvider::Pools pools,
                                         const std::filesystem::path& cacheFolder,
                                         std::function<bool()> mayWarm)
    : pools_(pools),
      mayWarm_(std::move(mayWarm)),
      provider_(std::make_shared<ThumbnailProvider>(cacheFolder, media, pools)),
      toMain_(main) {}

void ThumbnailController::setArchive(const std::optional<std::filesystem::path>& root,
                                     bool isOnline) {
  provider_->setArchiveRoot(root);
  provider_->setArchiveOnline(isOnline);
}

void ThumbnailController::warm() {
  if (!catalog_ || warming_ || !mayWarm_()) {
    return;
  }
  warming_ = std::make_shared<std::stop_source>();
  pools_.cached.post([catalog = catalog_, provider = provider_, stop = warming_->get_token(),
                      done = toMain_([this, run = warming_] {
                        if (warming_ == run) {
                          warming_.reset();
                        }
                      })] {
    try {
      ThumbnailWarmer warmer;
      warmer.context = catalog->newBackgroundContext();
      warmer.run(provider, stop, done);
    } catch (const CatalogError& error) {
      logLine(fmt::format("Vaultmere: thumbnails not warmed — {}", error.what()));
      done();
    }
  });
}

void ThumbnailController::stopWarming() {
  if (const auto run = std::exchange(warming_, nullptr)) {
    run->request_stop();
  }
}

}  // namespace vaultmere
