// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/LocalAddress.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <system_error>

namespace vaultmere {
namespace {

bool hasDevice(const std::string& interface) {
  std::error_code ignored;
  return std::filesystem::exists("/sys/class/net/" + interface + "/device", ignored);
}

std::string numericText(const sockaddr& address) {
  sockaddr_in internet{};
  std::memcpy(&internet, &address, sizeof internet);
  std::array<char, INET_ADDRSTRLEN> text{};
  const char* written = inet_ntop(AF_INET, &internet.sin_addr, text.data(), text.size());
  return written == nullptr ? std::string() : std::string(written);
}

/// A line of the table: Iface Destination Gateway Flags RefCnt Use Metric Mask …
struct RouteLine {
  std::string interface;
  unsigned long destination = 0;
  unsigned long gateway = 0;
  unsigned long flags = 0;
  unsigned long metric = 0;
  unsigned long mask = 0;

  [[nodiscard]] bool isDefault() const {
    return destination == 0 && mask == 0 && (flags & RTF_UP) != 0 && (flags & RTF_REJECT) == 0;
  }
};

std::optional<RouteLine> routeLine(const std::string& text) {
  RouteLine line;
  unsigned long references = 0;
  unsigned long uses = 0;
  std::istringstream in(text);
  in >> line.interface >> std::hex >> line.destination >> line.gateway >> line.flags >> std::dec >>
      references >> uses >> line.metric >> std::hex >> line.mask;
  return in ? std::optional(line) : std::nullopt;
}

}  // namespace

std::vector<std::string> defaultRoutes(std::string_view table) {
  std::vector<RouteLine> routes;
  std::istringstream in{std::string(table)};
  for (std::string text; std::getline(in, text);) {
    if (const auto line = routeLine(text); line && line->isDefault()) {
      routes.push_back(*line);
    }
  }
  std::stable_sort(routes.begin(), routes.end(),
                   [](const RouteLine& a, const RouteLine& b) { return a.metric < b.metric; });
  std::vector<std::string> interfaces;
  interfaces.reserve(routes.size());
  for (const RouteLine& route : routes) {
    interfaces.push_back(route.interface);
  }
  return interfaces;
}

std::optional<std::string> chooseLocalAddress(std::span<const InterfaceAddress> addresses,
                                              std::span<const std::string> routes) {
  std::vector<InterfaceAddress> usable;
  std::copy_if(
      addresses.begin(), addresses.end(), std::back_inserter(usable),
      [](const InterfaceAddress& one) { return one.isUp && one.isRunning && one.hasDevice; });
  for (const std::string& route : routes) {
    const auto found = std::find_if(usable.begin(), usable.end(), [&](const InterfaceAddress& one) {
      return one.interface == route;
    });
    if (found != usable.end()) {
      return found->address;
    }
  }
  return usable.empty() ? std::nullopt : std::optional(usable.back().address);
}

std::vector<InterfaceAddress> interfaceAddresses() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    return {};
  }
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(first, &freeifaddrs);
  std::vector<InterfaceAddress> addresses;
  for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
      continue;
    }
    addresses.push_back({entry->ifa_name, numericText(*entry->ifa_addr),
                         (entry->ifa_flags & IFF_UP) != 0, (entry->ifa_flags & IFF_RUNNING) != 0,
                         hasDevice(entry->ifa_name)});
  }
  return addresses;
}

std::optional<std::string> localAddress() {
  std::ifstream in("/proc/net/route");
  const std::string table{std::istreambuf_iterator<char>(in), {}};
  return chooseLocalAddress(interfaceAddresses(), defaultRoutes(table));
}

}  // namespace vaultmere
