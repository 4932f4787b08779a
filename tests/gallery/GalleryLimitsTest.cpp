// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/resource.h>

#include <vector>

#include "gallery/http/DescriptorLimit.h"
#include "tests/gallery/GalleryFixture.h"

namespace vaultmere {
namespace {

class GalleryLimitsTest : public GalleryFixture {
 protected:
  /// Clients that have sent a part of a head, one after the other. `size` is
  /// small enough that all of it is under way at once.
  std::vector<GalleryClient> unfinished(int count, std::size_t size) {
    std::vector<GalleryClient> clients;
    for (int i = 0; i < count; ++i) {
      clients.push_back(connect());
      clients.back().send("GET /config.js HTTP/1.1\r\nA: " + std::string(size, 'a'));
      settle();
    }
    return clients;
  }

  /// Clients that have read the first bytes of a large response, and no more.
  std::vector<GalleryClient> stalled(int count) {
    std::vector<GalleryClient> clients;
    for (int i = 0; i < count; ++i) {
      clients.push_back(connect(4096));
      clients.back().send("GET /api/geo HTTP/1.1\r\n\r\n");
      EXPECT_EQ(clients.back().receive(10).size(), 10U);
    }
    return clients;
  }
};

TEST_F(GalleryLimitsTest, EvictsTheLeastRecentlyActivePastTheRequestBudget) {
  serve({.requestBytes = 200'000});
  GalleryClient active = std::move(unfinished(1, 20'000).front());
  std::vector<GalleryClient> idle;
  for (int i = 0; i < 20; ++i) {
    idle.push_back(std::move(unfinished(1, 20'000).front()));
    active.send("more");
    settle();
  }
  EXPECT_TRUE(idle.front().isDropped());
  for (GalleryClient* client : {&active, &idle.back()}) {
    client->send("\r\n\r\n");
    EXPECT_TRUE(client->receiveAll().starts_with("HTTP/1.1 200 "));
  }
}

TEST_F(GalleryLimitsTest, EvictsTheLeastRecentlyActivePastTheDescriptorLimit) {
  serve({.descriptors = 20});
  auto clients = unfinished(30, 10);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_TRUE(clients[i].isDropped()) << i;
  }
  clients.back().send("\r\n\r\n");
  EXPECT_TRUE(clients.back().receiveAll().starts_with("HTTP/1.1 200 "));
}

TEST_F(GalleryLimitsTest, EvictsClientsThatDontReadTheirResponses) {
  backend_->large = 9'000'000;
  serve({.responseBytes = 20'000'000});
  auto clients = stalled(4);
  EXPECT_LT(clients[0].receiveAll().size(), backend_->large);
  EXPECT_GT(clients[3].receiveAll().size(), backend_->large);
}

TEST_F(GalleryLimitsTest, ResetsConnectionsThatReadNothing) {
  backend_->large = 9'000'000;
  writeNoise(folder_ / "page/app.js", 60'000);
  serve({.stall = std::chrono::milliseconds(50)});
  for (const char* target : {"/api/geo", "/app.js"}) {  // more and less than the system buffers
    GalleryClient client = connect(4096);
    client.send("GET " + std::string(target) + " HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(client.waitUntilReset()) << target;
  }
  GalleryClient open = connect();
  open.send("POST /config.js HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(open.receiveAll().starts_with("HTTP/1.1 200 "));
  while (open.send("a body without an end")) {
  }
}

TEST_F(GalleryLimitsTest, CountsWhatTheSystemBuffersForClients) {
  backend_->large = 100'000;
  serve({.responseBytes = 2'000'000});
  auto clients = stalled(60);  // the system has buffered their responses whole
  EXPECT_TRUE(clients.front().waitUntilReset());
  EXPECT_GE(clients.back().receiveAll().size(), backend_->large);
}

TEST_F(GalleryLimitsTest, ReservesDescriptorsForTheArchive) {
  const std::size_t granted = raiseDescriptorLimit();
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_LE(granted + kOwnDescriptors, std::max<rlim_t>(limit.rlim_cur, 320));
}

// MARK: Starting and stopping

TEST_F(GalleryLimitsTest, ReportsPortsThatAreTakenOrInvalid) {
  serve();
  GalleryServer second(backend_, {});
  struct {
    int port;
    ServerError::Kind kind;
    const char* text;
  } const cases[] = {
      {server_->port(), ServerError::Kind::unavailable, "Address already in use"},
      {-1, ServerError::Kind::badPort, "-1 is not a port"},
      {65536, ServerError::Kind::badPort, "65536 is not a port"},
  };
  for (const auto& c : cases) {
    try {
      second.start(c.port, "");
      ADD_FAILURE() << c.port;
    } catch (const ServerError& error) {
      EXPECT_EQ(error.kind(), c.kind) << c.port;
      EXPECT_NE(std::string(error.what()).find(c.text), std::string::npos) << error.what();
    }
    EXPECT_EQ(second.port(), 0);
  }
  const std::uint16_t port = server_->port();
  server_->stop();
  second.start(port, "");
  EXPECT_EQ(second.port(), port);
}

TEST_F(GalleryLimitsTest, KeepsOpenConnectionsOverStopAndRestart) {
  serve();
  GalleryClient stopped = connect();
  stopped.send("GET /config.js HTTP/1.1\r\n");
  settle();
  const std::uint16_t port = server_->port();
  server_->stop();
  EXPECT_EQ(server_->port(), 0);
  EXPECT_THROW(GalleryClient{port}, std::system_error);
  server_->start(port, "");
  settle();
  server_->start(0, "");
  settle();
  EXPECT_THROW(GalleryClient{port}, std::system_error);
  stopped.send("\r\n");
  EXPECT_TRUE(stopped.receiveAll().starts_with("HTTP/1.1 200 "));
}

TEST_F(GalleryLimitsTest, ServesBothAddressFamilies) {
  const int socket = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  serve();
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  address.sin6_port = htons(server_->port());
  const int result = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  ::close(socket);
  if (socket < 0 || (result != 0 && (error == EADDRNOTAVAIL || error == ENETUNREACH))) {
    GTEST_SKIP() << "no IPv6 here";
  }
  EXPECT_EQ(result, 0) << error;
}

}  // namespace
}  // namespace vaultmere
