// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "catalog/VaultmereCatalog.h"
#include "gallery/GalleryServer.h"
#include "platform/ChangeSignal.h"
#include "platform/ThreadPool.h"
#include "settings/SettingsStore.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// Opens and closes the gallery for the local network, at the port and with the
/// password of the settings. Main thread only.
class GalleryController {
 public:
  /// `page` is the folder with the files of the web page.
  GalleryController(ThreadPool& pool, SettingsStore& settings,
                    std::shared_ptr<ThumbnailProvider> thumbnails, std::filesystem::path page,
                    ChangeSignal& changed);

  /// What is shown from now on; without one the gallery can't be opened.
  void setCatalog(std::shared_ptr<const VaultmereCatalog> catalog) {
    catalog_ = std::move(catalog);
  }

  /// Listens at the port of the settings, also when it did at another one. A
  /// failure is in `error` and in the log. Does nothing without a catalog.
  void start();
  void stop();
  /// The settings have changed: a new password holds at once.
  void applyPassword();

  [[nodiscard]] bool isRunning() const { return url_.has_value(); }
  /// Where other machines find the gallery; absent while it is closed.
  [[nodiscard]] const std::optional<std::string>& url() const { return url_; }
  /// Why the last `start` failed; absent after one that didn't, and after `stop`.
  [[nodiscard]] const std::optional<std::string>& error() const { return error_; }

  /// Closes all connections.
  void shutDown();

 private:
  [[nodiscard]] std::string password() const;

  ThreadPool& pool_;
  SettingsStore& settings_;
  const std::shared_ptr<ThumbnailProvider> thumbnails_;
  const std::filesystem::path page_;
  ChangeSignal& changed_;
  std::shared_ptr<const VaultmereCatalog> catalog_;
  std::unique_ptr<GalleryServer> server_;  ///< null until it is started first
  std::optional<std::string> url_;
  std::optional<std::string> error_;
};

}  // namespace vaultmere
