// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "gallery/http/ConnectionTable.h"

namespace vaultmere {
namespace {

/// True when the other end has gone for good, not just stopped sending.
bool isClosed(int socket, int patienceInMilliseconds) {
  pollfd wait{socket, 0, 0};
  return ::poll(&wait, 1, patienceInMilliseconds) == 1 && (wait.revents & POLLHUP) != 0;
}

TEST(ConnectionTable, AClientThatNeverClosesIsClosed) {
  ThreadPool pool(1);
  const auto loop = std::make_shared<IoLoop>();
  ConnectionTable::Limits limits;
  limits.drain = std::chrono::milliseconds(1);
  ConnectionTable table(*loop, pool, limits, [](const PendingRequest& reply) {
    reply(HttpResponse{*reply.head(), nullptr, nullptr, 0});
  });
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0);
  const std::string request = "POST /\r\n\r\n";
  ASSERT_EQ(::send(ends[1], request.data(), request.size(), 0), 10);
  loop->perform([&] { table.open(ends[0]); });
  EXPECT_TRUE(isClosed(ends[1], 60'000));
  std::array<char, 100> answer{};
  EXPECT_EQ(::recv(ends[1], answer.data(), answer.size(), 0), 6);
  ::close(ends[1]);
  loop->stop();
}

}  // namespace
}  // namespace vaultmere
