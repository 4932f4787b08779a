// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <fstream>
#include <latch>
#include <thread>
#include <vector>

#include "gallery/http/ConcurrencyLimits.h"
#include "gallery/http/WorkQueues.h"
#include "tests/gallery/GalleryFixture.h"

namespace vaultmere {
namespace {

const std::string kPage = "/api/photos?a=b";

/// The bytes of memory that this process takes.
std::size_t residentBytes() {
  std::size_t total = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

/// A gallery whose work is blocked until the test releases it.
class GalleryWorkTest : public GalleryFixture {
 protected:
  GalleryWorkTest() {
    backend_->onPhotos = [this] { work(queries_); };
    backend_->onOriginal = [this] { work(originals_); };
    backend_->onRendition = [this] { work(renditions_); };
    backend_->onMake = [this](const std::string&) { work(thumbnails_); };
    writeText(folder_ / "p", "a picture");
    writeText(folder_ / "raw", "a negative");
  }
  ~GalleryWorkTest() override {
    release();
    server_.reset();
  }

  void work(std::atomic<int>& kind) {
    ++kind;
    kind.notify_all();
    released_.wait();
  }

  static void waitUntilBegun(const std::atomic<int>& kind, int count) {
    for (int begun = kind; begun < count; begun = kind) {
      kind.wait(begun);
    }
  }

  void release() {
    if (!released_.try_wait()) {
      released_.count_down();
    }
  }

  /// A client that has sent its request, for the test to wait with it.
  GalleryClient waiting(const std::string& target, const char* address = "127.0.0.1") {
    GalleryClient client(server_->port(), 0, address);
    client.send("GET " + target + " HTTP/1.1\r\n\r\n");
    return client;
  }

  std::vector<GalleryClient> waiting(int count, const std::string& target,
                                     const char* address = "127.0.0.1") {
    std::vector<GalleryClient> clients;
    for (int i = 0; i < count; ++i) {
      clients.push_back(waiting(target, address));
    }
    settle();
    return clients;
  }

  static std::string thumbnail(int number) {
    return "/thumb/" + std::string(62, 'a') + std::to_string(10 + number);
  }

  std::latch released_{1};
  std::atomic<int> queries_ = 0;
  std::atomic<int> originals_ = 0;
  std::atomic<int> renditions_ = 0;
  std::atomic<int> thumbnails_ = 0;
};

TEST_F(GalleryWorkTest, ServesOtherRequestsWhileTheArchiveHangs) {
  writeText(folder_ / (std::string(64, 'b') + ".jpg"), "a thumbnail");
  backend_->onPhotos = nullptr;
  serve();
  const auto hanging = waiting(10, "/img/p");
  const auto others = waiting(10, "/img/raw", "127.0.0.2");
  EXPECT_EQ(ask(thumbnail(1)), notFoundResponse());
  waitUntilBegun(originals_, kArchiveReads.atOnce);
  EXPECT_EQ(ask(kPage), json("a=b;"));
  EXPECT_EQ(ask("/api/stats"), json("{\"computed\":1}"));
  EXPECT_EQ(ask("/thumb/" + std::string(64, 'b')), jpeg("a thumbnail"));
  EXPECT_EQ(ask("/"), okHead("text/html; charset=utf-8", 15) + "<!doctype html>");
  EXPECT_EQ(originals_, kArchiveReads.atOnce);
}

TEST_F(GalleryWorkTest, ServesOtherRequestsWhileDecodesRun) {
  backend_->onOriginal = nullptr;
  backend_->onPhotos = nullptr;
  serve();
  const auto hanging = waiting(10, "/img/raw");
  waitUntilBegun(renditions_, renditionLimits().perClient);
  EXPECT_EQ(ask(kPage), json("a=b;"));
  EXPECT_EQ(ask("/img/p"), picture("image/png", "a picture"));
}

TEST_F(GalleryWorkTest, LimitsTheQueriesOfOneClient) {
  serve();
  const auto many = waiting(50, kPage);
  waitUntilBegun(queries_, kCatalogReads.perClient);
  auto other = waiting(1, kPage, "127.0.0.2");
  waitUntilBegun(queries_, kCatalogReads.atOnce);
  EXPECT_EQ(queries_, kCatalogReads.perClient + 1);
  release();
  EXPECT_EQ(other.front().receiveAll(), json("a=b;"));
}

TEST_F(GalleryWorkTest, MakesDisplayImagesBeforeQueuedThumbnails) {
  backend_->onOriginal = nullptr;
  std::atomic<int> begunBefore = 0;
  backend_->onRendition = [&] {
    begunBefore = thumbnails_.load();
    work(renditions_);
  };
  serve();
  const auto first = waiting(renditionLimits().perClient, "/img/raw1");
  for (int i = 0; i < 90; ++i) {
    EXPECT_EQ(ask(thumbnail(i)), notFoundResponse());
  }
  writeText(folder_ / "raw2", "another negative");
  GalleryClient last = waiting("/img/raw2");
  settle();
  release();
  EXPECT_EQ(last.receiveAll(), jpeg("made of raw2"));
  EXPECT_LE(begunBefore, 2 * renditionLimits().atOnce);
}

TEST_F(GalleryWorkTest, DropsWorkOfDisconnectedClients) {
  serve();
  auto pages = waiting(kCatalogReads.perClient, kPage);
  waitUntilBegun(queries_, kCatalogReads.perClient);
  for (GalleryClient& client : waiting(10, kPage)) {
    client.reset();
  }
  for (GalleryClient& client : waiting(10, kPage)) {
    client.send(std::string(100'000, 'b'));
    client.reset();
  }
  GalleryClient last = waiting(kPage);
  settle();
  release();
  EXPECT_EQ(last.receiveAll(), json("a=b;"));
  EXPECT_EQ(queries_, kCatalogReads.perClient + 1);
}

TEST_F(GalleryWorkTest, ServesHalfClosedClientsLastAndWithoutStrayBytes) {
  serve();
  const auto pages = waiting(kCatalogReads.perClient, kPage);
  waitUntilBegun(queries_, kCatalogReads.perClient);
  auto halfClosed = waiting(10, kPage);
  auto dropped = waiting(1, "/api/photos?drop=1");
  dropped.front().finishSending();
  for (GalleryClient& client : halfClosed) {
    client.finishSending();
  }
  settle();
  GalleryClient last = waiting("/api/colors?c=d");
  settle();
  release();
  EXPECT_EQ(last.receiveAll(), json("c=d;"));
  for (GalleryClient& client : halfClosed) {
    EXPECT_EQ(client.receiveAll(), json("a=b;"));
  }
  EXPECT_TRUE(dropped.front().isDropped()) << "with no byte before";
}

TEST_F(GalleryWorkTest, StartsNoQueuedWorkDuringDestruction) {
  backend_->onStats = [] { ADD_FAILURE() << "statistics for a server that has ended"; };
  serve();
  const auto originals = waiting(10, "/img/p");
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ask(thumbnail(i)), notFoundResponse());
  }
  auto pages = waiting(10, kPage);
  auto others = waiting(10, kPage, "127.0.0.2");
  waitUntilBegun(queries_, kCatalogReads.atOnce);
  const auto statistics = waiting(1, "/api/stats");
  const int begun = originals_;
  std::thread releaser([&] {
    EXPECT_TRUE(pages.back().isDropped());  // the connections end first
    release();
  });
  server_.reset();
  releaser.join();
  EXPECT_EQ(queries_, kCatalogReads.atOnce);
  EXPECT_EQ(originals_, begun);
  EXPECT_EQ(thumbnails_, 0);
}

TEST(WorkQueues, AreDestroyedWhileTheArchiveHangs) {
  const auto answers = std::make_shared<std::latch>(1);
  const auto ended = std::make_shared<std::latch>(1);
  {
    WorkQueues queues(std::chrono::milliseconds(1));
    for (int i = 0; i < 5; ++i) {
      queues.archive->submit([answers, ended](const AdmissionQueue::Permit&) {
        answers->wait();
        ended->count_down();
      });
    }
  }
  answers->count_down();
  ended->wait();
}

TEST_F(GalleryWorkTest, QueuesLongRequestsUnparsed) {
  serve();
  std::string parameters = kPage;
  while (parameters.size() < 1'000'000) {
    parameters += "&" + std::to_string(parameters.size());
  }
  const std::size_t before = residentBytes();
  const auto clients = waiting(30, parameters);
  waitUntilBegun(queries_, kCatalogReads.perClient);
  EXPECT_LT(residentBytes(), before + 300'000'000);
  EXPECT_EQ(queries_, kCatalogReads.perClient);
}

}  // namespace
}  // namespace vaultmere
