// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>

#include "gallery/GalleryServer.h"
#include "gallery/http/ResponseHead.h"
#include "tests/gallery/GalleryClient.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {

/// A gallery of files in a folder: "<id>.jpg" are the thumbnails, "<id>.made" the
/// renditions, all others are originals. A browser shows those whose id has no
/// "raw" in it.
class FolderBackend : public GalleryBackend {
 public:
  explicit FolderBackend(std::filesystem::path folder) : folder_(std::move(folder)) {}

  [[nodiscard]] std::optional<std::filesystem::path> thumbnailFile(
      std::string_view id) const override {
    const bool isId =
        id.size() == 64 && id.find_first_not_of("0123456789abcdef") == std::string_view::npos;
    return isId ? std::optional(folder_ / (std::string(id) + ".jpg")) : std::nullopt;
  }
  [[nodiscard]] bool isArchiveOnline() const override { return isOnline; }

  [[nodiscard]] std::optional<PhotoRef> photo(const std::string& id) override {
    const bool isRaw = id.find("raw") != std::string::npos;
    return id == "none" ? std::nullopt
                        : std::optional(PhotoRef{id, isRaw ? "dng" : "png", {}, {}, {}});
  }
  [[nodiscard]] std::optional<std::string> photos(const HttpQuery& query) override {
    call(onPhotos);
    return query.contains("drop") ? std::nullopt : std::optional(text(query));
  }
  [[nodiscard]] GalleryAPI::Statistics stats() override {
    call(onStats);
    return {R"({"computed":)" + std::to_string(++computed) + "}", true};
  }
  [[nodiscard]] std::string colours(const HttpQuery& query) override { return text(query); }
  [[nodiscard]] std::string geo(const HttpQuery& query) override {
    return query.contains("throw") ? throw std::runtime_error("no such place")
                                   : std::string(large, 'g');
  }

  [[nodiscard]] std::shared_ptr<File> openRendition(const PhotoRef& ref) override {
    return open(folder_ / (ref.id + ".made"));
  }
  [[nodiscard]] std::optional<Original> openOriginal(const PhotoRef& ref) override {
    call(onOriginal);
    auto file = open(folder_ / ref.id);
    return file || ref.id.size() == 64 ? std::optional(Original{std::move(file), ref})
                                       : std::nullopt;
  }
  void makeThumbnail(const PhotoRef& ref, std::function<void()> done) override {
    {
      const std::lock_guard lock(mutex_);
      made_.insert(ref.id);
    }
    if (onMake) {
      onMake(ref.id);
    }
    done();
  }
  void makeRendition(const PhotoRef& ref, std::function<void()> done) override {
    call(onRendition);
    writeText(folder_ / (ref.id + ".made"), "made of " + ref.id);
    done();
  }

  [[nodiscard]] std::set<std::string> made() const {
    const std::lock_guard lock(mutex_);
    return made_;
  }

  std::function<void(const std::string&)> onMake;
  std::function<void()> onPhotos;
  std::function<void()> onStats;
  std::function<void()> onOriginal;
  std::function<void()> onRendition;
  std::atomic<bool> isOnline = true;
  std::atomic<int> computed = 0;
  std::size_t large = 10;

 private:
  static void call(const std::function<void()>& hook) {
    if (hook) {
      hook();
    }
  }
  static std::shared_ptr<File> open(const std::filesystem::path& path) {
    try {
      return std::make_shared<File>(File::openForReading(path));
    } catch (const FileError&) {
      return nullptr;
    }
  }
  static std::string text(const HttpQuery& query) {
    std::string pairs;
    for (const auto& [key, value] : query) {
      pairs.append(key).append("=").append(value).append(";");
    }
    return pairs;
  }

  const std::filesystem::path folder_;
  mutable std::mutex mutex_;
  std::set<std::string> made_;
};

/// A gallery that runs, with clients to ask it.
class GalleryFixture : public testing::Test {
 protected:
  GalleryFixture() { writeText(folder_ / "page/index.html", "<!doctype html>"); }

  void serve(GalleryServer::Options options = {}, const std::string& password = {}) {
    options.page = folder_ / "page";
    server_ = std::make_unique<GalleryServer>(backend_, options);
    server_->start(0, password);
  }

  [[nodiscard]] GalleryClient connect(int receiveBuffer = 0) const {
    return GalleryClient(server_->port(), receiveBuffer);
  }

  /// Sends these bytes, and gives all that comes back.
  [[nodiscard]] std::string send(std::string_view bytes) const {
    GalleryClient client = connect();
    client.send(bytes);
    return client.receiveAll();
  }

  [[nodiscard]] std::string ask(const std::string& target, const std::string& headers = {}) const {
    return send("GET " + target + " HTTP/1.1\r\nHost: gallery\r\n" + headers + "\r\n");
  }

  /// Returns when all that was sent before has been read by the server, which
  /// accepts a few connections before it reads from open ones.
  void settle() const {
    for (int i = 0; i < 20; ++i) {
      ASSERT_NE(ask("/config.js"), "");
    }
  }

  static std::string json(const std::string& body) {
    return okHead("application/json", body.size()) + body;
  }
  static std::string jpeg(const std::string& bytes) { return picture("image/jpeg", bytes); }
  static std::string picture(const std::string& type, const std::string& bytes) {
    return pictureHead(type, bytes.size()) + bytes;
  }

  TemporaryFolder folder_;
  const std::shared_ptr<FolderBackend> backend_ = std::make_shared<FolderBackend>(folder_.path());
  std::unique_ptr<GalleryServer> server_;
};

}  // namespace vaultmere
