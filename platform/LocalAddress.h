// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Under which address other machines on the local network reach this one.
namespace vaultmere {

/// One IPv4 address of a network interface.
struct InterfaceAddress {
  std::string interface;  ///< "wlp3s0"
  std::string address;    ///< "192.168.1.20"
  bool isUp = false;
  bool isRunning = false;
  /// There is hardware behind it; not so for loopback, bridges, tunnels and the
  /// links of containers.
  bool hasDevice = false;

  bool operator==(const InterfaceAddress&) const = default;
};

/// The interfaces that have a default route, the preferred one (of the lowest
/// metric) first, from the text of the kernel's IPv4 routing table
/// (/proc/net/route). Lines that don't have its form are passed over.
[[nodiscard]] std::vector<std::string> defaultRoutes(std::string_view table);

/// Of the interfaces that are up, running and backed by a device: the first
/// address of the one that comes first in `routes`, else the last address of
/// all. Absent when there is no such interface.
[[nodiscard]] std::optional<std::string> chooseLocalAddress(
    std::span<const InterfaceAddress> addresses, std::span<const std::string> routes);

/// This machine's addresses in the system's order. Empty when it doesn't tell.
[[nodiscard]] std::vector<InterfaceAddress> interfaceAddresses();

/// The choice among this machine's own. Any thread; takes well below a
/// millisecond.
[[nodiscard]] std::optional<std::string> localAddress();

}  // namespace vaultmere
