// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace vaultmere {

/// Keeps the bytes that are read within a rate. What wasn't read for a while is
/// made up for by a quarter of a second's bytes at most. One thread.
class TokenBucket {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  /// 0 bytes a second, or fewer, means no limit.
  TokenBucket(std::int64_t bytesPerSecond, Clock clock);

  /// Takes note of bytes that have been read. Gives the time to wait before the
  /// next ones; 0 for none.
  [[nodiscard]] std::chrono::nanoseconds take(std::size_t bytes);

 private:
  const double bytesPerSecond_;
  const Clock clock_;
  double available_ = 0;  ///< bytes; below 0: read too early
  std::chrono::steady_clock::time_point filledAt_;
};

}  // namespace vaultmere
