// SPDX-License-Identifier: GPL-3.0-or-later
#include <future>
#include <random>

#include "gallery/Route.h"
#include "tests/gallery/GalleryFixture.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

const std::string kId(64, 'a');

class GalleryServerTest : public GalleryFixture {};

TEST_F(GalleryServerTest, AnswersEachRoute) {
  writeText(folder_ / "page/app.js", "run();");
  writeText(folder_ / "page/vendor/chart.umd.min.js", "");
  writeText(folder_ / (kId + ".jpg"), "a thumbnail");
  writeText(folder_ / "p", "a picture");
  serve();
  const std::string config = "window.VAULTMERE_CONFIG = { mapboxToken: \"\" };";
  ASSERT_EQ(config.size(), 46U);
  struct {
    const char* target;
    std::string expected;
  } const cases[] = {
      {"/", okHead("text/html; charset=utf-8", 15) + "<!doctype html>"},
      {"/index.html?a=b", okHead("text/html; charset=utf-8", 15) + "<!doctype html>"},
      {"/app.js", okHead("application/javascript", 6) + "run();"},
      {"/vendor/chart.umd.min.js", okHead("application/javascript", 0)},
      {"/styles.css", notFoundAnswer()},
      {"/config.js", okHead("application/javascript", 46) + config},
      {"/api/photos?a=b%20c&d", json("a=b c;d=;")},
      {"/api/stats?a=b", json("{\"computed\":1}")},
      {"/api/stats", json("{\"computed\":1}")},
      {"/api/colors?x=1", json("x=1;")},
      {"/api/geo", json("gggggggggg")},
      {"/api/geo?throw=1", json("{}")},
      {"/api/photos/", notFoundAnswer()},
      {"/img/p", picture("image/png", "a picture")},
      {"/img/none", notFoundAnswer()},
      {"/img/missing", notFoundAnswer()},
      {"/nothing", notFoundAnswer()},
      {"/api/photos?drop=1", ""},
      {"/api/photos?", ""},
      {"?/api/photos", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ask(c.target), c.expected) << c.target;
  }
  EXPECT_EQ(ask("/thumb/" + kId), picture("image/jpeg", "a thumbnail"));
}

TEST_F(GalleryServerTest, AMissingOrEmptyThumbnailIsThereTheNextTime) {
  const std::string empty(64, 'b');
  writeText(folder_ / (empty + ".jpg"), "");
  std::optional<std::promise<void>> made;
  content_->onMake = [&](const std::string& id) {
    writeText(folder_ / (id + ".jpg"), "late");
    made->set_value();
  };
  serve();
  for (const std::string& id : {kId, empty}) {
    made.emplace();
    EXPECT_EQ(ask("/thumb/" + id), notFoundAnswer());
    made->get_future().wait();
    EXPECT_EQ(ask("/thumb/" + id), picture("image/jpeg", "late"));
  }
}

TEST_F(GalleryServerTest, ThumbnailsNeverLeaveTheirFolder) {
  writeText(folder_ / ".jpg", "no");
  writeText(folder_ / "page/secret.jpg", "no");
  serve();
  for (const auto& id :
       {std::string(), std::string("page/secret"), "../" + folder_.path().filename().string() + "/",
        std::string("%2e%2e/secret"), std::string(63, 'a'), std::string(65, 'a'),
        std::string(64, 'A'), std::string(63, 'a') + "/",
        "/" + folder_.path().string() + "/page/secret"}) {
    EXPECT_EQ(ask("/thumb/" + id), notFoundAnswer()) << id;
  }
  server_.reset();
  pool_.join();
  EXPECT_EQ(content_->made(), std::set<std::string>());
}

TEST_F(GalleryServerTest, ThePasswordGuardsEverythingAndChangesAtOnce) {
  serve({}, "secret");
  const std::string good = "Authorization: Basic c2VjcmV0\r\n";
  for (const char* target : {"/", "/config.js", "/api/stats", "/thumb/x", "/nothing"}) {
    EXPECT_EQ(ask(target), unauthorisedAnswer()) << target;
    EXPECT_NE(ask(target, good), unauthorisedAnswer()) << target;
  }
  EXPECT_EQ(ask("/api/photos?"), "");
  GalleryClient early = connect();
  early.send("GET /config.js HTTP/1.1\r\n" + good);
  settle();
  server_->setPassword("changed");
  early.send("\r\n");
  EXPECT_EQ(early.receiveAll(), unauthorisedAnswer());
  server_->setPassword("");
  EXPECT_NE(ask("/"), unauthorisedAnswer());
}

TEST_F(GalleryServerTest, AHeadMayComeInAnyPiecesAndABodyIsBorneWith) {
  serve();
  const std::string expected = json("a=b;");
  const std::string request = "GET /api/photos?a=b HTTP/1.1\r\nHost: gallery\r\n\r\n";
  for (std::size_t cut = 1; cut < request.size(); ++cut) {
    GalleryClient client = connect();
    client.send(request.substr(0, cut));
    client.send(request.substr(cut));
    EXPECT_EQ(client.receiveAll(), expected) << cut;
  }
  const std::string body(8'000'000, 'b');
  for (const char* head : {"POST /api/photos?a=b HTTP/1.1\r\nContent-Length: 8000000\r\n\r\n",
                           "PUT /api/photos?a=b\r\n\r\n", "GET /api/photos?a=b HTTP/1.1\r\n\r\n"}) {
    GalleryClient client = connect();
    EXPECT_TRUE(client.send(head + body)) << head;
    EXPECT_EQ(client.receiveAll(), expected) << head;
    EXPECT_FALSE(client.wasReset()) << head;
  }
  GalleryClient endless = connect();
  endless.send("POST /api/photos HTTP/1.1\r\n\r\n");
  int bodies = 0;
  while (bodies < 100 && endless.send(body)) {
    ++bodies;
  }
  EXPECT_LT(bodies, 100);
  GalleryClient half = connect();
  half.send(request);
  half.finishSending();
  EXPECT_EQ(half.receiveAll(), expected);
}

TEST_F(GalleryServerTest, WhatIsNoRequestIsDroppedWithoutAWord) {
  serve();
  EXPECT_EQ(send("\r\n\r\n"), "");
  EXPECT_EQ(send("GET\r\n\r\n"), "");
  EXPECT_EQ(send(std::string(1'048'576, 'a')), "");
  EXPECT_EQ(send("GET /config.js HTTP/1.1\r\n" + std::string(1'100'000, 'a') + "\r\n\r\n"), "");
  GalleryClient early = connect();
  early.send("GET / HTTP/1.1\r\n");
  early.finishSending();
  EXPECT_TRUE(early.isDropped());
  std::string parameters = "/api/photos?a=1";
  while (parameters.size() < 1'000'000) {
    parameters += "&a";
  }
  EXPECT_EQ(ask(parameters), json("a=;"));
}

TEST_F(GalleryServerTest, LargeFilesArriveWholeAlsoAtSlowClients) {
  writeNoise(folder_ / "large", 5'000'001);
  serve();
  const std::string expected = picture("image/png", slurp(folder_ / "large"));
  EXPECT_EQ(ask("/img/large"), expected);
  GalleryClient slow = connect(4096);
  slow.send("GET /img/large HTTP/1.1\r\n\r\n");
  std::string received;
  while (received.size() < 100'000) {
    received += slow.receive(1000);
  }
  EXPECT_EQ(ask("/img/large"), expected) << "another one meanwhile";
  EXPECT_TRUE(received + slow.receiveAll() == expected);
}

TEST_F(GalleryServerTest, AFileThatShrinksEndsItsConnectionAlone) {
  writeNoise(folder_ / "large", 40'000'000);
  serve();
  GalleryClient client = connect(4096);
  client.send("GET /img/large HTTP/1.1\r\n\r\n");
  const std::string first = client.receive(1000);
  truncateFile(folder_ / "large", 2'000'000);
  EXPECT_LT(first.size() + client.receiveAll().size(), 40'000'000U);
  settle();
}

TEST_F(GalleryServerTest, ClientsMayVanishAtAnyMoment) {
  writeNoise(folder_ / "large", 3'000'000);
  content_->large = 3'000'000;
  serve();
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    GalleryClient client = connect();
    const std::string request = round % 2 == 0 ? "GET /img/large HTTP/1.1\r\nA: b\r\n\r\n"
                                               : "GET /api/geo HTTP/1.1\r\nA: b\r\n\r\n";
    client.send(request.substr(0, random() % (request.size() + 10)));
    if (random() % 3 == 0) {
      client.finishSending();
    } else if (random() % 2 == 0) {
      client.vanish();
    }
  }
  EXPECT_EQ(ask("/api/geo"), json(std::string(3'000'000, 'g')));
}

TEST_F(GalleryServerTest, ThousandsOfRandomRequestsGetWhatIsTheirs) {
  serve();
  std::mt19937 random(20240611);
  const auto pick = [&](const std::vector<std::string>& list) {
    return list[random() % list.size()];
  };
  const std::vector<std::string> methods{"GET", "POST", "", "get", "\xff"};
  const std::vector<std::string> paths{
      "/",        "/config.js", "/api/photos", "/api/colors",  "/nothing",
      "/thumb/x", "",           "//",          "/api/photos/", "\xc3\x28"};
  const std::vector<std::string> queries{"", "", "?a=b", "?", "??", "?a=%", "?=&=", "?%41=%41"};
  const std::vector<std::string> ends{
      " HTTP/1.1", "", "\r\nHost: x", "\r\nAuthorization: Basic =", "\r\n\r", "\n\n"};
  for (int round = 0; round < 3000; ++round) {
    std::string head = pick(methods) + " " + pick(paths) + pick(queries) + pick(ends);
    if (random() % 4 == 0 && !head.empty()) {
      head[random() % head.size()] = static_cast<char>(random() % 256);
    }
    const std::string answer = send(head + "\r\n\r\n");
    const auto request = parseRequest(head.substr(0, (head + "\r\n\r\n").find("\r\n\r\n")));
    ASSERT_EQ(answer.empty(), !request.has_value()) << testing::PrintToString(head);
    if (request) {
      const bool isThere = routeOf(request->path).kind != Route::Kind::nothing &&
                           routeOf(request->path).kind != Route::Kind::thumbnail;
      ASSERT_TRUE(answer.starts_with(isThere ? "HTTP/1.1 200 " : "HTTP/1.1 404 "))
          << testing::PrintToString(head);
    }
  }
}

}  // namespace
}  // namespace vaultmere
