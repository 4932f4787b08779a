// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/Listener.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vaultmere {
namespace {

/// Connections that are accepted before those that are open get their turn.
constexpr int kMaxAccepts = 8;

/// How long nothing is accepted when there is no room. The system queues the
/// next few thousand connections.
constexpr std::chrono::milliseconds kPause{50};

bool isOutOfRoom(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

struct Listener::Acceptor : std::enable_shared_from_this<Acceptor> {
  Acceptor(IoLoop& theLoop, ConnectionTable& theTable, Networks theNetworks, int descriptor)
      : loop(theLoop),
        table(theTable),
        networks(std::move(theNetworks)),
        socket(theLoop, descriptor) {}

  void accept() {
    for (int count = 0; count < kMaxAccepts; ++count) {
      if (table.isFull()) {
        return pause();
      }
      sockaddr_storage address{};
      socklen_t size = sizeof address;
      const int client = ::accept4(socket.number(), reinterpret_cast<sockaddr*>(&address), &size,
                                   SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (client >= 0) {
        open(client, PeerAddress::of(address));
      } else if (errno == EAGAIN) {
        return socket.whenReadable(acceptLater());
      } else if (isOutOfRoom(errno)) {
        table.evictOne();
        return pause();
      }
      // Any other error belongs to a client that has disconnected again.
    }
    loop.post(acceptLater());
  }

  /// Closes connections from outside of the local networks.
  void open(int client, const std::optional<PeerAddress>& peer) {
    if (peer && isServedPeer(*peer, networks)) {
      table.open(client, *peer);
    } else {
      ::close(client);
    }
  }

  void pause() { loop.after(kPause, acceptLater()); }

  [[nodiscard]] IoLoop::Task acceptLater() {
    return [weak = weak_from_this()] {
      if (const auto self = weak.lock()) {
        self->accept();
      }
    };
  }

  IoLoop& loop;
  ConnectionTable& table;
  const Networks networks;
  Descriptor socket;
};

Listener::Listener(IoLoop& loop, ConnectionTable& table, const std::vector<int>& sockets,
                   const Networks& networks) {
  for (const int socket : sockets) {
    acceptors_.push_back(std::make_shared<Acceptor>(loop, table, networks, socket));
    acceptors_.back()->accept();
  }
}

}  // namespace vaultmere
