// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/LocalAddress.h"

namespace vaultmere {
namespace {

using Addresses = std::vector<InterfaceAddress>;
using Names = std::vector<std::string>;

/// A card that is up, has a cable and belongs to a device.
const InterfaceAddress kWired{"eth0", "10.0.0.5", true, true, true};
const InterfaceAddress kSecondary{"eth0", "10.0.1.5", true, true, true};
const InterfaceAddress kUnplugged{"eth0", "10.0.0.5", true, false, true};
const InterfaceAddress kDown{"eth0", "10.0.0.5", false, false, true};
const InterfaceAddress kWireless{"wlan0", "10.0.0.6", true, true, true};
const InterfaceAddress kLoopback{"lo", "127.0.0.1", true, true, false};
const InterfaceAddress kTunnel{"tun0", "10.8.0.2", true, true, false};
const InterfaceAddress kContainers{"docker0", "172.17.0.1", true, true, false};

TEST(LocalAddress, IsThatOfTheCardWithTheDefaultRoute) {
  const struct {
    const char* name;
    Addresses addresses;
    Names routes;
    std::optional<std::string> expected;
  } rows[] = {
      {"nothing", {}, {}, std::nullopt},
      {"loopback alone", {kLoopback}, {}, std::nullopt},
      {"one card", {kLoopback, kWired}, {}, "10.0.0.5"},
      {"the routed one of two", {kWired, kWireless}, {"eth0"}, "10.0.0.5"},
      {"the last without a route", {kWired, kWireless}, {}, "10.0.0.6"},
      {"the better of two routes", {kWired, kWireless}, {"wlan0", "eth0"}, "10.0.0.6"},
      {"a tunnel has the route", {kWired, kWireless, kTunnel}, {"tun0", "eth0"}, "10.0.0.5"},
      {"a bridge of containers", {kWired, kContainers}, {}, "10.0.0.5"},
      {"the routed card is down", {kDown, kWireless}, {"eth0"}, "10.0.0.6"},
      {"a cable that is out", {kUnplugged}, {"eth0"}, std::nullopt},
      {"two addresses of one card", {kWired, kSecondary}, {"eth0"}, "10.0.0.5"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(chooseLocalAddress(row.addresses, row.routes), row.expected) << row.name;
  }
}

TEST(LocalAddress, ReadsTheRoutingTable) {
  const std::string head =
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  const auto route = [](const char* card, const char* destination, const char* flags,
                        const char* metric, const char* mask) {
    return fmt::format("{}\t{}\t0101A8C0\t{}\t0\t0\t{}\t{}\t0\t0\t0\n", card, destination, flags,
                       metric, mask);
  };
  const std::string ethernet = route("eth0", "00000000", "0003", "600", "00000000");
  const std::string wireless = route("wlan0", "00000000", "0003", "100", "00000000");
  const struct {
    const char* name;
    std::string table;
    Names expected;
  } rows[] = {
      {"no table", "", {}},
      {"no routes", head, {}},
      {"one", head + ethernet, {"eth0"}},
      {"the lower metric first", head + ethernet + wireless, {"wlan0", "eth0"}},
      {"a network's own", head + route("eth0", "0001A8C0", "0001", "100", "00FFFFFF"), {}},
      {"half of all", head + route("tun0", "00000000", "0003", "50", "00000080"), {}},
      {"down", head + route("eth0", "00000000", "0002", "1", "00000000"), {}},
      {"refusing", head + route("lo", "00000000", "0201", "1", "00000000"), {}},
      {"broken lines", head + "eth0\t0000\nwlan0 x y z\n\n" + wireless, {"wlan0"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(defaultRoutes(row.table), row.expected) << row.name;
  }
}

TEST(LocalAddress, SeesThisMachinesLoopback) {
  const auto addresses = interfaceAddresses();
  EXPECT_NE(std::find(addresses.begin(), addresses.end(), kLoopback), addresses.end());
  EXPECT_NE(localAddress(), "127.0.0.1");
}

}  // namespace
}  // namespace vaultmere
