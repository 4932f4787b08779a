// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/PeerAddress.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace vaultmere {
namespace {

constexpr std::size_t kMappedPrefix = 12;  // bytes before an IPv4 address
constexpr std::array<std::uint8_t, kMappedPrefix> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

PeerAddress mapped(const in_addr& address) {
  PeerAddress result;
  std::copy(kMapped.begin(), kMapped.end(), result.bytes.begin());
  std::memcpy(result.bytes.data() + kMappedPrefix, &address, sizeof address);
  return result;
}

bool isMapped(const PeerAddress& address) {
  return std::equal(kMapped.begin(), kMapped.end(), address.bytes.begin());
}

/// The number of leading ones of a mask, as `PeerAddress` has it.
unsigned prefixOf(const PeerAddress& mask, unsigned start) {
  unsigned prefix = start;
  for (std::size_t i = start / 8; i < mask.bytes.size(); ++i) {
    prefix += static_cast<unsigned>(std::countl_one(mask.bytes[i]));
  }
  return prefix;
}

sockaddr_storage storageOf(const sockaddr* address) {
  sockaddr_storage storage{};
  std::memcpy(&storage, address,
              address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in));
  return storage;
}

bool isInternet(const sockaddr* address) {
  return address != nullptr && (address->sa_family == AF_INET || address->sa_family == AF_INET6);
}

const std::vector<Network>& servedNetworks() {
  static const std::vector<Network> networks = [] {
    std::vector<Network> list;
    const std::pair<const char*, unsigned> ranges[] = {
        {"127.0.0.0", 96 + 8},    {"10.0.0.0", 96 + 8},
        {"172.16.0.0", 96 + 12},  {"192.168.0.0", 96 + 16},
        {"169.254.0.0", 96 + 16}, {"::1", 128},
        {"fe80::", 10},           {"fc00::", 7},
    };
    for (const auto& [address, prefix] : ranges) {
      list.push_back({*PeerAddress::parse(address), prefix});
    }
    return list;
  }();
  return networks;
}

}  // namespace

std::optional<PeerAddress> PeerAddress::parse(const std::string& text) {
  in_addr four{};
  if (::inet_pton(AF_INET, text.c_str(), &four) == 1) {
    return mapped(four);
  }
  PeerAddress six;
  return ::inet_pton(AF_INET6, text.c_str(), six.bytes.data()) == 1 ? std::optional(six)
                                                                    : std::nullopt;
}

std::optional<PeerAddress> PeerAddress::of(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    sockaddr_in four{};
    std::memcpy(&four, &address, sizeof four);
    return mapped(four.sin_addr);
  }
  if (address.ss_family == AF_INET6) {
    sockaddr_in6 six{};
    std::memcpy(&six, &address, sizeof six);
    PeerAddress result;
    std::memcpy(result.bytes.data(), &six.sin6_addr, result.bytes.size());
    return result;
  }
  return std::nullopt;
}

std::string PeerAddress::text() const {
  std::array<char, INET6_ADDRSTRLEN> buffer{};
  if (isMapped(*this)) {
    ::inet_ntop(AF_INET, bytes.data() + kMappedPrefix, buffer.data(), buffer.size());
  } else {
    ::inet_ntop(AF_INET6, bytes.data(), buffer.data(), buffer.size());
  }
  return buffer.data();
}

PeerAddress PeerAddress::client() const {
  PeerAddress client = *this;
  if (!isMapped(*this)) {
    std::fill(client.bytes.begin() + client.bytes.size() / 2, client.bytes.end(), 0);
  }
  return client;
}

bool Network::contains(const PeerAddress& peer) const {
  const unsigned whole = prefix / 8;
  if (!std::equal(peer.bytes.begin(), peer.bytes.begin() + whole, address.bytes.begin())) {
    return false;
  }
  const unsigned rest = prefix % 8;
  return rest == 0 || (peer.bytes.at(whole) ^ address.bytes.at(whole)) >> (8 - rest) == 0;
}

std::vector<Network> ownNetworks() {
  std::vector<Network> networks;
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) {
    return networks;
  }
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (isInternet(entry->ifa_addr) && isInternet(entry->ifa_netmask)) {
      const auto address = PeerAddress::of(storageOf(entry->ifa_addr));
      const auto mask = PeerAddress::of(storageOf(entry->ifa_netmask));
      networks.push_back({*address, prefixOf(*mask, isMapped(*address) ? 96 : 0)});
    }
  }
  ::freeifaddrs(list);
  return networks;
}

bool isServedPeer(const PeerAddress& peer, const std::function<std::vector<Network>()>& networks) {
  const auto containsPeer = [&](const Network& network) { return network.contains(peer); };
  const auto& served = servedNetworks();
  if (std::any_of(served.begin(), served.end(), containsPeer)) {
    return true;
  }
  const auto own = networks();
  return std::any_of(own.begin(), own.end(), containsPeer);
}

}  // namespace vaultmere
