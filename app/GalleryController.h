// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "catalog/VaultmereCatalog.h"
#include "gallery/CatalogGallery.h"
#include "gallery/GalleryServer.h"
#include "platform/ChangeSignal.h"
#include "settings/SettingsStore.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// Opens and closes the gallery for the local network, at the port and with the
/// password of the settings. Main thread only.
class GalleryController {
 public:
  /// `page` is the folder with the files of the web page.
  GalleryController(SettingsStore& settings, std::shared_ptr<ThumbnailProvider> thumbnails,
                    std::filesystem::path page, ChangeSignal& changed);

  /// What is shown from now on; without one the gallery can't be opened.
  void setCatalog(std::shared_ptr<const VaultmereCatalog> catalog) {
    catalog_ = std::move(catalog);
  }

  /// The archive's root while its drive is there; absent, no original is read.
  void setArchive(std::optional<std::filesystem::path> root);

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

  SettingsStore& settings_;
  const std::shared_ptr<ThumbnailProvider> thumbnails_;
  const std::filesystem::path page_;
  ChangeSignal& changed_;
  std::shared_ptr<const VaultmereCatalog> catalog_;
  std::optional<std::filesystem::path> archive_;
  std::shared_ptr<CatalogGallery> backend_;  ///< null until the server is started first
  std::unique_ptr<GalleryServer> server_;    ///< likewise
  std::optional<std::string> url_;
  std::optional<std::string> error_;
};

}  // namespace vaultmere
