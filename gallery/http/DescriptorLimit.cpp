// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/DescriptorLimit.h"

#include <sys/resource.h>

#include <algorithm>

namespace vaultmere {
namespace {

/// More than this is of no use on a local network, and each costs the system some
/// kilobytes.
constexpr rlim_t kEnough = 32768;

/// Where the system grants hardly any, the gallery shares with the archive.
constexpr rlim_t kAtLeast = 64;

}  // namespace

std::size_t raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
    return kAtLeast;
  }
  const rlim_t wanted = std::min<rlim_t>(limit.rlim_max, kEnough);
  if (limit.rlim_cur < wanted) {
    const rlimit raised{wanted, limit.rlim_max};
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) {
      limit = raised;
    }
  }
  const rlim_t granted = std::min(limit.rlim_cur, kEnough);
  return std::max(granted, kOwnDescriptors + kAtLeast) - kOwnDescriptors;
}

}  // namespace vaultmere
