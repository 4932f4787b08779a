// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vaultmere {

/// An IPv6 address, or an IPv4 address in its mapped form (::ffff:0:0/96).
struct PeerAddress {
  std::array<std::uint8_t, 16> bytes{};

  bool operator==(const PeerAddress&) const = default;

  /// "192.168.1.20" or "fe80::1". Absent for any other text.
  [[nodiscard]] static std::optional<PeerAddress> parse(const std::string& text);
  /// Absent for other families than the two of the Internet.
  [[nodiscard]] static std::optional<PeerAddress> of(const sockaddr_storage& address);

  [[nodiscard]] std::string text() const;

  /// What counts as one client: an IPv4 address, or the first 64 bits of an
  /// IPv6 address, within which a machine can choose the rest.
  [[nodiscard]] PeerAddress client() const;
};

/// The addresses that begin with the first `prefix` bits of `address`.
struct Network {
  PeerAddress address;
  unsigned prefix = 128;  ///< of the mapped form: an IPv4 prefix and 96

  bool operator==(const Network&) const = default;
  [[nodiscard]] bool contains(const PeerAddress& peer) const;
};

/// The networks of this machine's interfaces; empty when it doesn't tell.
[[nodiscard]] std::vector<Network> ownNetworks();

/// Whether a connection from there is served: from loopback, private (RFC 1918),
/// link-local and unique-local addresses, and from the machine's own networks,
/// which are asked for only when nothing else matches.
[[nodiscard]] bool isServedPeer(const PeerAddress& peer,
                                const std::function<std::vector<Network>()>& networks);

}  // namespace vaultmere

template <>
struct std::hash<vaultmere::PeerAddress> {
  std::size_t operator()(const vaultmere::PeerAddress& address) const noexcept {
    return std::hash<std::string_view>{}(
        {reinterpret_cast<const char*>(address.bytes.data()), address.bytes.size()});
  }
};
