// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Descriptor.h"

namespace vaultmere {

/// A message, and the open file that came with it.
struct Packet {
  std::string bytes;
  Descriptor descriptor{-1};  ///< -1 for none
};

/// One end of a connection between two processes of this machine that carries
/// whole messages in order (a pair of SOCK_SEQPACKET). One thread at a time.
class PacketSocket {
 public:
  enum class State { packet, timedOut, closed };
  struct Received {
    State state = State::closed;
    Packet packet;  ///< for `State::packet`
  };

  /// Both ends of a new connection. Throws std::system_error.
  [[nodiscard]] static std::pair<PacketSocket, PacketSocket> makePair();
  explicit PacketSocket(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  /// Sends a message, and with it an open file unless it is -1. Waits while the
  /// other end has too many that it hasn't received, unless `mayWait` is false.
  /// Throws std::system_error, with EPIPE when the other end is closed, EAGAIN for
  /// what would have to wait, EMSGSIZE for what is too long for the system.
  void send(std::string_view bytes, int descriptor = -1, bool mayWait = true);

  /// The next message; waits at most so long for it, without a limit for ever.
  /// Throws std::system_error, with EMSGSIZE for one longer than `maxBytes`, EPROTO
  /// for one with more than one file, and EMFILE when its file can't be taken
  /// because this process has too many open. The message is lost then.
  [[nodiscard]] Received receive(std::size_t maxBytes,
                                 std::optional<std::chrono::milliseconds> timeout = std::nullopt);

  /// Whether the other end is open, and nothing that it sent waits to be received.
  [[nodiscard]] bool isQuiet() const;

  [[nodiscard]] int descriptor() const { return descriptor_.get(); }

 private:
  Descriptor descriptor_;
};

/// Whether an open descriptor is the end of such a connection.
[[nodiscard]] bool isPacketSocket(int descriptor);

}  // namespace vaultmere
