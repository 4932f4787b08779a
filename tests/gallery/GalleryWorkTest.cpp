// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <fstream>
#include <future>
#include <latch>
#include <vector>

#include "gallery/http/ConcurrencyLimits.h"
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

/// A gallery whose work stands still until the test lets it go on.
class GalleryWorkTest : public GalleryFixture {
 protected:
  GalleryWorkTest() {
    content_->onPhotos = [this] { work(queries_); };
    content_->onDisplay = [this] { work(pictures_); };
    content_->onMake = [this](const std::string&) { work(thumbnails_); };
    writeText(folder_ / "p", "a picture");
  }
  ~GalleryWorkTest() override {
    server_.reset();
    goOn();
    pool_.join();
  }

  void work(std::atomic<int>& kind) {
    ++kind;
    kind.notify_all();
    mayGoOn_.wait();
  }

  static void waitUntilBegun(const std::atomic<int>& kind, int count) {
    for (int begun = kind; begun < count; begun = kind) {
      kind.wait(begun);
    }
  }

  void goOn() {
    if (!mayGoOn_.try_wait()) {
      mayGoOn_.count_down();
    }
  }

  /// Comes back when the pool has begun all that it was given until now.
  void poolSettles() {
    std::promise<void> ran;
    pool_.post([&] { ran.set_value(); });
    ran.get_future().wait();
  }

  /// A client that has asked, for the test to wait with it.
  GalleryClient waiting(const std::string& target) {
    GalleryClient client = connect();
    client.send("GET " + target + " HTTP/1.1\r\n\r\n");
    return client;
  }

  std::vector<GalleryClient> waiting(int count, const std::string& target) {
    std::vector<GalleryClient> clients;
    for (int i = 0; i < count; ++i) {
      clients.push_back(waiting(target));
    }
    settle();
    poolSettles();
    return clients;
  }

  static std::string thumbnail(int number) {
    return "/thumb/" + std::string(62, 'a') + std::to_string(10 + number);
  }

  std::latch mayGoOn_{1};
  std::atomic<int> queries_ = 0;
  std::atomic<int> pictures_ = 0;
  std::atomic<int> thumbnails_ = 0;
};

TEST_F(GalleryWorkTest, SlowQueriesLeaveThePoolAndThePicturesAlone) {
  content_->onDisplay = nullptr;
  serve();
  auto clients = waiting(10, kPage);
  EXPECT_EQ(ask("/img/p"), picture("image/png", "a picture"));
  poolSettles();
  waitUntilBegun(queries_, kQueriesAtOnce);
  EXPECT_EQ(queries_, kQueriesAtOnce);
  goOn();
  for (GalleryClient& client : clients) {
    EXPECT_EQ(client.receiveAll(), json("a=b;"));
  }
}

TEST_F(GalleryWorkTest, AllKindsTogetherLeaveAThreadOfThePool) {
  serve();
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ask(thumbnail(i)), notFoundAnswer());
  }
  const auto pictures = waiting(10, "/img/p");
  const auto pages = waiting(10, kPage);
  // One less for the pieces of files.
  EXPECT_LT(queries_ + pictures_ + thumbnails_, static_cast<int>(threads_) - kSlowReadsAtOnce);
}

TEST_F(GalleryWorkTest, APictureDoesntWaitForAThousandThumbnails) {
  std::atomic<int> begunBefore = 0;
  content_->onDisplay = [&] {
    begunBefore = thumbnails_.load();
    work(pictures_);
  };
  serve();
  const auto first = waiting(picturesAtOnce(), "/img/p");
  waitUntilBegun(pictures_, picturesAtOnce());
  for (int i = 0; i < 90; ++i) {
    EXPECT_EQ(ask(thumbnail(i)), notFoundAnswer());
  }
  GalleryClient last = waiting("/img/p");
  settle();
  goOn();
  EXPECT_EQ(last.receiveAll(), picture("image/png", "a picture"));
  EXPECT_LE(begunBefore, 2 * picturesAtOnce());
}

TEST_F(GalleryWorkTest, WhoHasLeftIsNotServed) {
  const struct {
    const char* name;
    std::function<void(GalleryClient&)> leave;
  } rows[] = {
      {"closes", [](GalleryClient& client) { client.leave(); }},
      {"breaks off", [](GalleryClient& client) { client.vanish(); }},
      {"sends more and closes",
       [](GalleryClient& client) {
         client.send(std::string(100'000, 'b'));
         client.finishSending();
         client.leave();
       }},
  };
  serve();
  const auto pages = waiting(kQueriesAtOnce, kPage);
  const auto pictures = waiting(picturesAtOnce(), "/img/p");
  waitUntilBegun(queries_, kQueriesAtOnce);
  waitUntilBegun(pictures_, picturesAtOnce());
  for (const auto& row : rows) {
    for (const std::string& target : {kPage, std::string("/img/p")}) {
      for (GalleryClient& client : waiting(10, target)) {
        row.leave(client);
      }
    }
  }
  GalleryClient page = waiting(kPage);
  GalleryClient picture = waiting("/img/p");
  GalleryClient half = waiting(kPage);
  half.finishSending();
  settle();
  goOn();
  EXPECT_EQ(page.receiveAll(), json("a=b;"));
  EXPECT_EQ(half.receiveAll(), json("a=b;")) << "sends no more, but listens";
  EXPECT_EQ(picture.receiveAll(), GalleryFixture::picture("image/png", "a picture"));
  EXPECT_EQ(queries_, kQueriesAtOnce + 2);
  EXPECT_EQ(pictures_, picturesAtOnce() + 1);
}

TEST_F(GalleryWorkTest, WhatWaitsIsNotBegunOnceTheServerHasGone) {
  content_->onStats = [] { ADD_FAILURE() << "nobody asks for statistics any more"; };
  serve();
  const auto pictures = waiting(10, "/img/p");
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ask(thumbnail(i)), notFoundAnswer());
  }
  auto pages = waiting(10, kPage);
  const auto statistics = waiting(1, "/api/stats");
  waitUntilBegun(queries_, kQueriesAtOnce);
  waitUntilBegun(pictures_, picturesAtOnce());
  server_.reset();
  EXPECT_TRUE(pages.front().isDropped());
  goOn();
  pool_.join();
  EXPECT_EQ(queries_, kQueriesAtOnce);
  EXPECT_EQ(pictures_, picturesAtOnce());
  EXPECT_EQ(thumbnails_, 0);
}

TEST_F(GalleryWorkTest, LongRequestsWaitAsTheBytesThatCame) {
  serve();
  std::string parameters = kPage;
  while (parameters.size() < 1'000'000) {
    parameters += "&" + std::to_string(parameters.size());
  }
  const std::size_t before = residentBytes();
  const auto clients = waiting(30, parameters);
  waitUntilBegun(queries_, kQueriesAtOnce);
  poolSettles();
  EXPECT_LT(residentBytes(), before + 300'000'000);
  EXPECT_EQ(queries_, kQueriesAtOnce);
}

}  // namespace
}  // namespace vaultmere
