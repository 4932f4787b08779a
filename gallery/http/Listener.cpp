// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/Listener.h"

#include <sys/socket.h>

#include <cerrno>

namespace vaultmere {
namespace {

/// How many are let in before those who are in get their turn.
constexpr int kAcceptedInATurn = 8;

/// How long nobody is let in when there is no room. The system keeps the next
/// few thousand waiting.
constexpr std::chrono::milliseconds kPause{50};

bool isOutOfRoom(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

struct Listener::Door : std::enable_shared_from_this<Door> {
  Door(IoLoop& theLoop, ConnectionTable& theTable, int descriptor)
      : loop(theLoop), table(theTable), socket(theLoop, descriptor) {}

  void accept() {
    for (int count = 0; count < kAcceptedInATurn; ++count) {
      if (table.isFull()) {
        return pause();
      }
      const int client = ::accept4(socket.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (client >= 0) {
        table.open(client);
      } else if (errno == EAGAIN) {
        return socket.whenReadable(acceptLater());
      } else if (isOutOfRoom(errno)) {
        table.endSilentLongest();
        return pause();
      }
      // Anything else is the trouble of a client that has gone again.
    }
    loop.post(acceptLater());
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
  Descriptor socket;
};

Listener::Listener(IoLoop& loop, ConnectionTable& table, const std::vector<int>& sockets) {
  for (const int socket : sockets) {
    doors_.push_back(std::make_shared<Door>(loop, table, socket));
    doors_.back()->accept();
  }
}

}  // namespace vaultmere
