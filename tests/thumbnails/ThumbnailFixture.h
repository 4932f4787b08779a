// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>
#include <string>

#include "platform/Files.h"
#include "tests/support/BitmapChecks.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// What has to be stored for it with the orientation 6.
inline Painter turnedBack() { return quarters(kGreen, kYellow, kRed, kBlue); }

/// "400x300 RGBY": the size and the colours from the top left to the bottom
/// right.
inline std::string describe(const Bitmap* bitmap) {
  return sizeOf(*bitmap) + " " + cornersOf(*bitmap, 45);
}

/// The same, or the state of what isn't `made`.
inline std::string describe(const ThumbnailProvider::Picture& picture) {
  switch (picture.state) {
    case RenditionState::made:
      return describe(picture.image.get());
    case RenditionState::undecodable:
      return "undecodable";
    case RenditionState::unavailable:
      break;
  }
  return "unavailable";
}

/// A provider with a cache and an archive of its own.
class ThumbnailFixture : public testing::Test {
 protected:
  [[nodiscard]] static std::string idOf(int number) {
    const std::string digits = std::to_string(number);
    return std::string(64 - digits.size(), '0') + digits;
  }

  /// An item whose file has this name in the archive, there or not.
  [[nodiscard]] PhotoRef item(int number, const std::string& name) const {
    PhotoRef ref;
    ref.id = idOf(number);
    ref.ext = bareExtension(fs::path(name).extension().string());
    ref.archivePath = (archive() / name).string();
    return ref;
  }
  /// The same with a JPEG there.
  PhotoRef picture(int number, int width = 800, int height = 600) {
    const PhotoRef ref = item(number, std::to_string(number) + ".jpg");
    makeStill(*ref.archivePath, {.width = width, .height = height, .painter = upright()});
    return ref;
  }

  [[nodiscard]] fs::path archive() const { return folder_ / "archive"; }
  [[nodiscard]] fs::path cache() const { return folder_ / "cache"; }
  void unplug() const { fs::rename(archive(), folder_ / "unplugged"); }
  /// As a new start of the program: nothing is in memory.
  void restart() { provider_ = makeProvider(); }

  std::string thumbnail(const PhotoRef& ref) { return describe(request(ref)); }
  ThumbnailProvider::Picture request(const PhotoRef& ref) {
    std::promise<ThumbnailProvider::Picture> picture;
    provider_->thumbnail(ref, [&](auto given) { picture.set_value(std::move(given)); });
    return picture.get_future().get();
  }
  std::string display(const PhotoRef& ref) {
    std::promise<ThumbnailProvider::Picture> picture;
    provider_->display(ref, [&](auto given) { picture.set_value(std::move(given)); });
    return describe(picture.get_future().get());
  }
  std::string displayData(const PhotoRef& ref) {
    std::promise<std::optional<ThumbnailProvider::DisplayFile>> file;
    provider_->displayData(ref, [&](auto given) { file.set_value(std::move(given)); });
    const auto given = file.get_future().get();
    return given ? given->path.lexically_relative(folder_.path()).string() + " " +
                       std::string(given->mimeType)
                 : "none";
  }
  std::future<RenditionState> ensure(const PhotoRef& ref,
                                     Priority priority = Priority::foreground) {
    auto state = std::make_shared<std::promise<RenditionState>>();
    provider_->ensureThumb(
        ref, [state](RenditionState given) { state->set_value(given); }, priority);
    return state->get_future();
  }

  TemporaryFolder folder_;
  ThreadPool pool_{2};
  std::shared_ptr<ThumbnailProvider> makeProvider() {
    return std::make_shared<ThumbnailProvider>(cache(), testMedia(),
                                               ThumbnailProvider::Pools{pool_, pool_});
  }
  std::shared_ptr<ThumbnailProvider> provider_ = makeProvider();

  ThumbnailFixture() { fs::create_directories(archive()); }
};

}  // namespace vaultmere
