// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "platform/LocalAddress.h"

namespace vaultmere {
namespace {

using Addresses = std::vector<InterfaceAddress>;
using Names = std::vector<std::string>;

InterfaceAddress card(const char* name, const char* address) {
  return {name, address, true, true, true};
}
InterfaceAddress down(const char* name, const char* address) {
  return {name, address, false, false, true};
}
InterfaceAddress unplugged(const char* name, const char* address) {
  return {name, address, true, false, true};
}
InterfaceAddress deviceless(const char* name, const char* address) {
  return {name, address, true, true, false};
}

TEST(LocalAddress, IsThatOfTheCardWithTheDefaultRoute) {
  struct {
    const char* what;
    Addresses addresses;
    Names routes;
    std::optional<std::string> expected;
  } const cases[] = {
      {"nothing", {}, {}, std::nullopt},
      {"loopback alone", {deviceless("lo", "127.0.0.1")}, {}, std::nullopt},
      {"one card", {deviceless("lo", "127.0.0.1"), card("eth0", "10.0.0.5")}, {}, "10.0.0.5"},
      {"the routed one of two",
       {card("eth0", "10.0.0.5"), card("wlan0", "10.0.0.6")},
       {"eth0"},
       "10.0.0.5"},
      {"the last without a route",
       {card("eth0", "10.0.0.5"), card("wlan0", "10.0.0.6")},
       {},
       "10.0.0.6"},
      {"the better of two routes",
       {card("eth0", "10.0.0.5"), card("wlan0", "10.0.0.6")},
       {"wlan0", "eth0"},
       "10.0.0.6"},
      {"a tunnel has the route",
       {card("eth0", "10.0.0.5"), card("wlan0", "10.0.0.6"), deviceless("tun0", "10.8.0.2")},
       {"tun0", "eth0"},
       "10.0.0.5"},
      {"bridges and links of containers",
       {card("eth0", "10.0.0.5"), deviceless("docker0", "172.17.0.1"),
        deviceless("virbr0", "192.168.122.1")},
       {},
       "10.0.0.5"},
      {"the routed card is down",
       {down("eth0", "10.0.0.5"), card("wlan0", "10.0.0.6")},
       {"eth0"},
       "10.0.0.6"},
      {"a cable that is out", {unplugged("eth0", "10.0.0.5")}, {"eth0"}, std::nullopt},
      {"the first address of the routed card",
       {card("eth0", "10.0.0.5"), card("eth0", "10.0.1.5")},
       {"eth0"},
       "10.0.0.5"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(chooseLocalAddress(c.addresses, c.routes), c.expected) << c.what;
  }
}

TEST(LocalAddress, ReadsTheRoutingTable) {
  const std::string head =
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  const std::string ethernet = "eth0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n";
  const std::string wireless = "wlan0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n";
  struct {
    const char* what;
    std::string table;
    Names expected;
  } const cases[] = {
      {"no table", "", {}},
      {"no routes", head, {}},
      {"one", head + ethernet, {"eth0"}},
      {"the lower metric first", head + ethernet + wireless, {"wlan0", "eth0"}},
      {"a network's own route",
       head + "eth0\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0\n",
       {}},
      {"half of everything, as tunnels do it",
       head + "tun0\t00000000\t00000000\t0003\t0\t0\t50\t00000080\t0\t0\t0\n" + ethernet,
       {"eth0"}},
      {"a route that is down",
       head + "eth0\t00000000\t0101A8C0\t0002\t0\t0\t1\t00000000\t0\t0\t0\n",
       {}},
      {"a route that refuses",
       head + "lo\t00000000\t00000000\t0201\t0\t0\t1\t00000000\t0\t0\t0\n",
       {}},
      {"broken lines", head + "eth0\t0000\nwlan0 x y z\n\n" + wireless, {"wlan0"}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(defaultRoutes(c.table), c.expected) << c.what;
  }
}

TEST(LocalAddress, SeesThisMachinesLoopback) {
  const auto addresses = interfaceAddresses();
  const InterfaceAddress loopback = deviceless("lo", "127.0.0.1");
  EXPECT_NE(std::find(addresses.begin(), addresses.end(), loopback), addresses.end());
  EXPECT_NE(localAddress(), "127.0.0.1");
}

}  // namespace
}  // namespace vaultmere
