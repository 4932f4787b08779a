// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PacketSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>

namespace vaultmere {
namespace {

/// More than one, so that one too many is seen, and closed.
constexpr std::size_t kMaxDescriptors = 4;

[[noreturn]] void fail(const char* what, int code = errno) {
  throw std::system_error(code, std::generic_category(), what);
}

/// Waits until something can be received; false after the timeout.
bool waitForInput(int descriptor, std::optional<std::chrono::milliseconds> timeout) {
  pollfd watched{descriptor, POLLIN, 0};
  const auto end = std::chrono::steady_clock::now() + timeout.value_or(std::chrono::milliseconds());
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    const int wait = timeout ? static_cast<int>(std::max<std::int64_t>(0, left.count())) : -1;
    const int ready = ::poll(&watched, 1, wait);
    if (ready >= 0) {
      return ready > 0;
    }
    if (errno != EINTR) {
      fail("poll");
    }
  }
}

/// Takes all files that came with a message.
std::array<Descriptor, kMaxDescriptors> descriptorsOf(msghdr& message) {
  std::array<Descriptor, kMaxDescriptors> taken{Descriptor(-1), Descriptor(-1), Descriptor(-1),
                                                Descriptor(-1)};
  for (cmsghdr* head = CMSG_FIRSTHDR(&message); head != nullptr;
       head = CMSG_NXTHDR(&message, head)) {
    if (head->cmsg_level != SOL_SOCKET || head->cmsg_type != SCM_RIGHTS) {
      continue;
    }
    const std::size_t count = (head->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int value = -1;
      std::memcpy(&value, CMSG_DATA(head) + i * sizeof value, sizeof value);
      Descriptor owner(value);
      if (i < taken.size()) {
        taken[i] = std::move(owner);
      }
    }
  }
  return taken;
}

}  // namespace

std::pair<PacketSocket, PacketSocket> PacketSocket::makePair() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    fail("socketpair");
  }
  return {PacketSocket(Descriptor(ends[0])), PacketSocket(Descriptor(ends[1]))};
}

void PacketSocket::send(std::string_view bytes, int descriptor, bool mayWait) {
  iovec part{const_cast<char*>(bytes.data()), bytes.size()};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (descriptor >= 0) {
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(head), &descriptor, sizeof descriptor);
  }
  const int flags = MSG_NOSIGNAL | (mayWait ? 0 : MSG_DONTWAIT);
  while (::sendmsg(descriptor_.get(), &message, flags) < 0) {
    if (errno != EINTR) {
      fail("sendmsg");
    }
  }
}

PacketSocket::Received PacketSocket::receive(std::size_t maxBytes,
                                             std::optional<std::chrono::milliseconds> timeout) {
  if (!waitForInput(descriptor_.get(), timeout)) {
    return {State::timedOut, {}};
  }
  Received received{State::packet, {std::string(maxBytes, '\0')}};
  iovec part{received.packet.bytes.data(), maxBytes};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * kMaxDescriptors)> control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  ssize_t count = -1;
  do {
    count = ::recvmsg(descriptor_.get(), &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
  } while (count < 0 && errno == EINTR);
  if (count < 0 && (errno == ECONNRESET || errno == EPIPE)) {
    return {};
  }
  if (count < 0) {
    fail("recvmsg");
  }
  auto descriptors = descriptorsOf(message);
  if ((message.msg_flags & MSG_TRUNC) != 0) {
    fail("recvmsg", EMSGSIZE);
  }
  if ((message.msg_flags & MSG_CTRUNC) != 0 && descriptors[0].get() < 0) {
    fail("recvmsg", EMFILE);  // none found room, not even the first
  }
  if ((message.msg_flags & MSG_CTRUNC) != 0 || descriptors[1].get() >= 0) {
    fail("recvmsg", EPROTO);
  }
  if (count == 0) {  // also an empty message, which neither end sends
    return {};
  }
  received.packet.bytes.resize(static_cast<std::size_t>(count));
  received.packet.descriptor = std::move(descriptors[0]);
  return received;
}

bool PacketSocket::isQuiet() const {
  pollfd watched{descriptor_.get(), POLLIN, 0};
  return ::poll(&watched, 1, 0) == 0;
}

bool isPacketSocket(int descriptor) {
  int type = 0;
  socklen_t size = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET;
}

}  // namespace vaultmere
