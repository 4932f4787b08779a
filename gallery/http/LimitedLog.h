// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

namespace vaultmere {

/// Logs one kind of event, which clients can cause as often as they like: a line
/// a minute at most, which counts those that were left out. Any thread.
class LimitedLog {
 public:
  static constexpr std::chrono::minutes kInterval{1};

  void write(std::string_view text);

 private:
  std::mutex mutex_;  // guards the rest
  std::optional<std::chrono::steady_clock::time_point> last_;
  std::uint64_t omitted_ = 0;
};

}  // namespace vaultmere
