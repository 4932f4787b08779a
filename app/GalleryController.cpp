// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/GalleryController.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "gallery/CatalogGallery.h"
#include "platform/LocalAddress.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

/// Ports that a server can have; 0 would let the system choose.
constexpr std::int64_t kFirstPort = 1;
constexpr std::int64_t kLastPort = 65'535;

}  // namespace

GalleryController::GalleryController(ThreadPool& pool, SettingsStore& settings,
                                     std::shared_ptr<ThumbnailProvider> thumbnails,
                                     std::filesystem::path page, ChangeSignal& changed)
    : pool_(pool),
      settings_(settings),
      thumbnails_(std::move(thumbnails)),
      page_(std::move(page)),
      changed_(changed) {}

std::string GalleryController::password() const {
  return std::string(trimmed(settings_.serverPassword(), kWhiteSpace));
}

void GalleryController::start() {
  if (!catalog_) {
    return;
  }
  url_.reset();
  error_.reset();
  try {
    if (!server_) {
      server_ =
          std::make_unique<GalleryServer>(std::make_shared<CatalogGallery>(catalog_, thumbnails_),
                                          pool_, GalleryServer::Options{.page = page_});
    }
    server_->start(static_cast<int>(std::clamp(settings_.serverPort(), kFirstPort, kLastPort)),
                   password());
    url_ =
        fmt::format("http://{}:{}", localAddress().value_or("127.0.0.1"), settings_.serverPort());
  } catch (const std::exception& failure) {
    error_ = failure.what();
    logLine(fmt::format("Vaultmere: gallery server failed to start — {}", failure.what()));
  }
  changed_.notify();
}

void GalleryController::stop() {
  if (server_) {
    server_->stop();
  }
  url_.reset();
  error_.reset();
  changed_.notify();
}

void GalleryController::applyPassword() {
  if (server_) {
    server_->setPassword(password());
  }
}

void GalleryController::shutDown() {
  server_.reset();
  url_.reset();
}

}  // namespace vaultmere
