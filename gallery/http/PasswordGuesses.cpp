// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/PasswordGuesses.h"

#include <algorithm>

namespace vaultmere {
namespace {

/// Clients that are remembered. A local network has fewer.
constexpr std::size_t kMaxClients = 4096;

}  // namespace

PasswordGuesses::Client* PasswordGuesses::find(const PeerAddress& address, bool isRight, Time now) {
  if (const auto found = clients_.find(address); found != clients_.end()) {
    return &found->second;
  }
  if (isRight) {
    return nullptr;
  }
  makeRoom(now);
  return &clients_[address];
}

std::optional<std::chrono::milliseconds> PasswordGuesses::record(const PeerAddress& address,
                                                                 bool isRight, Time now) {
  Client* const client = find(address, isRight, now);
  if (client == nullptr) {
    return std::chrono::milliseconds(0);
  }
  if (!client->wrong.empty() && now - client->wrong.back() >= kWindow) {
    client->wrong.clear();
    client->units = 0;
  }
  const bool isSlowed = client->units > 0 || (client->wrong.size() == kFreeGuesses &&
                                              now - client->wrong.front() < kWindow);
  if (isSlowed && client->delayed == kMaxDelayed) {
    return std::nullopt;
  }
  const int units = isSlowed ? std::clamp(client->units * 2, 1, kMaxUnits) : 0;
  if (!isRight) {
    client->units = units;
    client->wrong.push_back(now);
    if (client->wrong.size() > kFreeGuesses) {
      client->wrong.pop_front();
    }
  }
  client->delayed += units > 0 ? 1 : 0;
  return units * unit_;
}

void PasswordGuesses::responded(const PeerAddress& address) {
  if (const auto found = clients_.find(address); found != clients_.end()) {
    --found->second.delayed;
  }
}

void PasswordGuesses::makeRoom(Time now) {
  if (clients_.size() < kMaxClients) {
    return;
  }
  std::erase_if(clients_, [&](const auto& entry) { return entry.second.isForgotten(now); });
  if (clients_.size() >= kMaxClients) {
    std::erase_if(clients_, [](const auto& entry) { return entry.second.delayed == 0; });
  }
}

}  // namespace vaultmere
