// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "catalog/VaultmereCatalog.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// The thumbnails of the running program: their provider, and the one warm-up
/// that fills its cache in the background. Main thread only.
class ThumbnailController {
 public:
  /// `mayWarm` says whether the drives are free for it.
  ThumbnailController(MainThread& main, MediaService& media, ThumbnailProvider::Pools pools,
                      const std::filesystem::path& cacheFolder, std::function<bool()> mayWarm);
  ~ThumbnailController() { stopWarming(); }
  ThumbnailController(const ThumbnailController&) = delete;
  ThumbnailController& operator=(const ThumbnailController&) = delete;

  [[nodiscard]] const std::shared_ptr<ThumbnailProvider>& provider() const { return provider_; }

  /// What is warmed from now on.
  void setCatalog(std::shared_ptr<const VaultmereCatalog> catalog) {
    catalog_ = std::move(catalog);
  }
  /// Where the archive is, and whether its originals may be looked for.
  void setArchive(const std::optional<std::filesystem::path>& root, bool isOnline);

  /// Goes through the catalog in the background, unless that is under way or
  /// may not be done now.
  void warm();
  void stopWarming();
  [[nodiscard]] bool isWarming() const { return warming_ != nullptr; }

 private:
  const ThumbnailProvider::Pools pools_;
  const std::function<bool()> mayWarm_;
  const std::shared_ptr<ThumbnailProvider> provider_;
  const MainThreadCallback toMain_;
  std::shared_ptr<const VaultmereCatalog> catalog_;
  std::shared_ptr<std::stop_source> warming_;  ///< null while nothing is warmed
};

}  // namespace vaultmere
