// SPDX-License-Identifier: GPL-3.0-or-later
#include <future>
#include <random>

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
  writeText(folder_ / "raw", "a negative");
  writeText(folder_ / "empty", "");
  const struct {
    std::string target;
    std::string expected;
  } cases[] = {
      {"/",
       "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: 15\r\n"
       "Connection: close\r\n\r\n<!doctype html>"},
      {"/index.html?a=b", okHead("text/html; charset=utf-8", 15) + "<!doctype html>"},
      {"/app.js", okHead("application/javascript", 6) + "run();"},
      {"/vendor/chart.umd.min.js", okHead("application/javascript", 0)},
      {"/styles.css", notFoundResponse()},
      {"/config.js",
       okHead("application/javascript", 46) + "window.VAULTMERE_CONFIG = { mapboxToken: \"\" };"},
      {"/api/photos?a=b%20c&d", json("a=b c;d=;")},
      {"/api/stats?a=b", json("{\"computed\":1}")},
      {"/api/colors?x=1", json("x=1;")},
      {"/api/geo", json("gggggggggg")},
      {"/api/geo?throw=1", json("{}")},
      {"/api/photos/", notFoundResponse()},
      {"/img/p", picture("image/png", "a picture")},
      {"/img/raw", jpeg("made of raw")},
      {"/img/raw", jpeg("made of raw")},
      {"/img/empty", notFoundResponse()},
      {"/img/none", notFoundResponse()},
      {"/img/missing", notFoundResponse()},
      {"/img/" + std::string(100'000, 'x'), notFoundResponse()},
      {"/nothing", notFoundResponse()},
      {"/App.js", notFoundResponse()},
      {"/%61pp.js", notFoundResponse()},
      {"//", notFoundResponse()},
      {"/thumb", notFoundResponse()},
      {"/api/photos?drop=1", ""},
      {"/api/photos?", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ask(c.target), c.expected) << c.target;
  }
  EXPECT_EQ(ask("/thumb/" + kId),
            "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 11\r\n"
            "Cache-Control: max-age=86400\r\nConnection: close\r\n\r\na thumbnail");
  EXPECT_EQ(ask("/thumb/abc"),
            "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
            "Connection: close\r\n\r\n");
}

TEST_F(GalleryServerTest, ServesOnlyCachedImagesOfAnOfflineArchive) {
  writeText(folder_ / "p", "a picture");
  writeText(folder_ / "raw", "a negative");
  writeText(folder_ / "raw2.made", "cached");
  backend_->isOnline = false;
  backend_->onOriginal = [] { ADD_FAILURE() << "the drive isn't there"; };
  serve();
  EXPECT_EQ(ask("/img/p"), notFoundResponse());
  EXPECT_EQ(ask("/img/raw"), notFoundResponse());
  EXPECT_EQ(ask("/img/raw2"), jpeg("cached"));
  EXPECT_EQ(ask("/thumb/" + kId), notFoundResponse());
}

TEST_F(GalleryServerTest, ServesAMissingOrEmptyThumbnailTheNextTime) {
  const std::string empty(64, 'b');
  writeText(folder_ / (empty + ".jpg"), "");
  std::optional<std::promise<void>> made;
  backend_->onMake = [&](const std::string& id) {
    writeText(folder_ / (id + ".jpg"), "late");
    made->set_value();
  };
  serve();
  for (const std::string& id : {kId, empty}) {
    made.emplace();
    EXPECT_EQ(ask("/thumb/" + id), notFoundResponse());
    made->get_future().wait();
    EXPECT_EQ(ask("/thumb/" + id), jpeg("late"));
  }
}

TEST_F(GalleryServerTest, RejectsThumbnailIdsThatAreNoHash) {
  writeText(folder_ / ".jpg", "no");
  writeText(folder_ / "page/secret.jpg", "no");
  serve();
  for (const auto& id :
       {std::string(), std::string("page/secret"), "../" + folder_.path().filename().string() + "/",
        std::string("%2e%2e/secret"), std::string(63, 'a'), std::string(65, 'a'),
        std::string(64, 'A'), std::string(63, 'a') + "/",
        "/" + folder_.path().string() + "/page/secret"}) {
    EXPECT_EQ(ask("/thumb/" + id), notFoundResponse()) << id;
  }
  server_.reset();
  EXPECT_EQ(backend_->made(), std::set<std::string>());
}

TEST_F(GalleryServerTest, RequiresTheCurrentPasswordForEveryPath) {
  serve({}, "secret");
  const std::string good = "Authorization: Basic c2VjcmV0\r\n";
  for (const char* target : {"/", "/config.js", "/api/stats", "/thumb/x", "/nothing"}) {
    EXPECT_EQ(ask(target),
              "HTTP/1.1 401 Unauthorized\r\n"
              "WWW-Authenticate: Basic realm=\"Vaultmere Gallery\", charset=\"UTF-8\"\r\n"
              "Content-Type: text/plain\r\nContent-Length: 24\r\nConnection: close\r\n\r\n"
              "Authentication required.")
        << target;
    EXPECT_NE(ask(target, good), unauthorisedResponse()) << target;
  }
  EXPECT_EQ(ask("/api/photos?"), "");
  GalleryClient early = connect();
  early.send("GET /config.js HTTP/1.1\r\n" + good);
  settle();
  server_->setPassword("changed");
  early.send("\r\n");
  EXPECT_EQ(early.receiveAll(), unauthorisedResponse());
  server_->setPassword("");
  EXPECT_NE(ask("/"), unauthorisedResponse());
}

TEST_F(GalleryServerTest, ReadsHeadsInAnyPiecesAndIgnoresBodies) {
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

TEST_F(GalleryServerTest, DropsInvalidRequestsWithoutAResponse) {
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

TEST_F(GalleryServerTest, SendsLargeFilesWholeToSlowClients) {
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

TEST_F(GalleryServerTest, EndsOnlyTheConnectionOfAFileThatShrinks) {
  writeNoise(folder_ / "large", 40'000'000);
  serve();
  GalleryClient client = connect(4096);
  client.send("GET /img/large HTTP/1.1\r\n\r\n");
  const std::string first = client.receive(1000);
  truncateFile(folder_ / "large", 2'000'000);
  EXPECT_LT(first.size() + client.receiveAll().size(), 40'000'000U);
  settle();
}

TEST_F(GalleryServerTest, SurvivesClientsThatDisconnectAtAnyMoment) {
  writeNoise(folder_ / "large", 3'000'000);
  backend_->large = 3'000'000;
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
      client.reset();
    }
  }
  EXPECT_EQ(ask("/api/geo"), json(std::string(3'000'000, 'g')));
}

}  // namespace
}  // namespace vaultmere
