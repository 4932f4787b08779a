// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/TokenBucket.h"

#include <algorithm>
#include <utility>

namespace vaultmere {
namespace {
constexpr double kBurstSeconds = 0.25;
}

TokenBucket::TokenBucket(std::int64_t bytesPerSecond, Clock clock)
    : bytesPerSecond_(static_cast<double>(bytesPerSecond)),
      clock_(std::move(clock)),
      filledAt_(clock_()) {}

std::chrono::nanoseconds TokenBucket::take(std::size_t bytes) {
  using Seconds = std::chrono::duration<double>;
  if (bytesPerSecond_ <= 0) {
    return {};
  }
  const auto now = clock_();
  const double passed = std::chrono::duration_cast<Seconds>(now - filledAt_).count();
  filledAt_ = now;
  available_ = std::min(available_ + passed * bytesPerSecond_, kBurstSeconds * bytesPerSecond_) -
               static_cast<double>(bytes);
  return available_ >= 0 ? std::chrono::nanoseconds{}
                         : std::chrono::duration_cast<std::chrono::nanoseconds>(
                               Seconds(-available_ / bytesPerSecond_));
}

}  // namespace vaultmere
