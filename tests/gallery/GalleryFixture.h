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

/// A gallery of files in a folder: "<id>.jpg" are the thumbnails, all others
/// are the pictures.
class FolderContent : public GalleryBackend {
 public:
  explicit FolderContent(std::filesystem::path folder) : folder_(std::move(folder)) {}

  [[nodiscard]] std::optional<std::filesystem::path> thumbnailFile(
      std::string_view id) const override {
    const bool isId =
        id.size() == 64 && id.find_first_not_of("0123456789abcdef") == std::string_view::npos;
    return isId ? std::optional(folder_ / (std::string(id) + ".jpg")) : std::nullopt;
  }

  void makeThumbnail(const std::string& id, std::function<void()> done) override {
    {
      const std::lock_guard lock(mutex_);
      made_.insert(id);
    }
    if (onMake) {
      onMake(id);
    }
    done();
  }

  void displayImage(const std::string& id,
                    std::function<void(std::optional<Picture>)> callback) override {
    if (onDisplay) {
      onDisplay();
    }
    callback(id == "none" ? std::nullopt : std::optional(Picture{folder_ / id, "image/png"}));
  }

  [[nodiscard]] std::optional<std::string> photos(const HttpQuery& query) override {
    if (onPhotos) {
      onPhotos();
    }
    return query.contains("drop") ? std::nullopt : std::optional(text(query));
  }
  [[nodiscard]] Statistics stats() override {
    if (onStats) {
      onStats();
    }
    return {R"({"computed":)" + std::to_string(++computed) + "}"};
  }
  [[nodiscard]] std::string colours(const HttpQuery& query) override { return text(query); }
  [[nodiscard]] std::string geo(const HttpQuery& query) override {
    return query.contains("throw") ? throw std::runtime_error("no such place")
                                   : std::string(large, 'g');
  }

  [[nodiscard]] std::set<std::string> made() const {
    const std::lock_guard lock(mutex_);
    return made_;
  }

  std::function<void(const std::string&)> onMake;
  std::function<void()> onDisplay;
  std::function<void()> onPhotos;
  std::function<void()> onStats;
  std::atomic<int> computed = 0;
  std::size_t large = 10;

 private:
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
    server_ = std::make_unique<GalleryServer>(content_, pool_, options);
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

  /// Comes back when all that was sent before has been read by the server. It
  /// lets a few clients in at once before it looks at those who are in.
  void settle() const {
    for (int i = 0; i < 20; ++i) {
      ASSERT_NE(ask("/config.js"), "");
    }
  }

  static std::string json(const std::string& body) {
    return okHead("application/json", body.size()) + body;
  }
  static std::string picture(const std::string& type, const std::string& bytes) {
    return pictureHead(type, bytes.size()) + bytes;
  }

  TemporaryFolder folder_;
  /// As many as the program has, or fewer.
  const unsigned threads_ = std::clamp(activeProcessors() - 1, 2U, 8U) + 3;
  ThreadPool pool_{threads_};
  const std::shared_ptr<FolderContent> content_ = std::make_shared<FolderContent>(folder_.path());
  std::unique_ptr<GalleryServer> server_;
};

}  // namespace vaultmere
