// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <unordered_map>

#include "gallery/http/PeerAddress.h"

namespace vaultmere {

/// Slows down clients that guess passwords. After ten wrong ones within a
/// minute the responses to a client's next ones are delayed, by 1, 2, 4 and at
/// most 30 units. Right ones are delayed as long as the next wrong one would
/// be, so that the time of a response doesn't tell them apart. A minute without a
/// wrong one ends that. A plain value; one thread.
class PasswordGuesses {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr std::size_t kFreeGuesses = 10;
  static constexpr std::chrono::minutes kWindow{1};
  static constexpr int kMaxUnits = 30;
  /// Delayed responses to one client at a time, so that guessing on many
  /// connections gains nothing.
  static constexpr std::size_t kMaxDelayed = 16;

  /// `unit` is a second; a test has a shorter one.
  explicit PasswordGuesses(std::chrono::milliseconds unit) : unit_(unit) {}

  /// Takes note of a request with a password, and gives the delay of its response.
  /// Absent when too many of the client's requests wait already: the request is
  /// to be dropped. Each delay above zero needs its `responded` later.
  [[nodiscard]] std::optional<std::chrono::milliseconds> record(const PeerAddress& client,
                                                                bool isRight, Time now);
  void responded(const PeerAddress& client);

 private:
  struct Client {
    std::deque<Time> wrong;  // the last ones, at most kFreeGuesses
    int units = 0;           // of the last delay
    std::size_t delayed = 0;

    [[nodiscard]] bool isForgotten(Time now) const {
      return delayed == 0 && (wrong.empty() || now - wrong.back() >= kWindow);
    }
  };

  Client* find(const PeerAddress& address, bool isRight, Time now);
  void makeRoom(Time now);

  const std::chrono::milliseconds unit_;
  std::unordered_map<PeerAddress, Client> clients_;
};

}  // namespace vaultmere
