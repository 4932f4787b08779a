// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/LimitedLog.h"

#include <fmt/format.h>

#include <utility>

#include "platform/Log.h"

namespace vaultmere {

void LimitedLog::write(std::string_view text) {
  std::uint64_t omitted = 0;
  {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (last_ && now - *last_ < kInterval) {
      ++omitted_;
      return;
    }
    last_ = now;
    omitted = std::exchange(omitted_, 0);
  }
  logLine(omitted == 0
              ? fmt::format("Vaultmere: gallery: {}", text)
              : fmt::format("Vaultmere: gallery: {} ({} more since the last line)", text, omitted));
}

}  // namespace vaultmere
